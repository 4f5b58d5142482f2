// Root of every tree class: events, scores, actions, expressions, attributes.
#pragma once

#include <ostream>
#include <string>

class ASTVisitor;

class ASTNode {
public:
    virtual ~ASTNode() = default;
    virtual void accept(ASTVisitor* visitor);
    virtual void show(std::ostream& out) const = 0;

    // The printed text of the node.
    std::string show() const;
};

std::ostream& operator<<(std::ostream& out, const ASTNode& node);
std::ostream& operator<<(std::ostream& out, const ASTNode* node);

// Whether `show` writes score text for the reader: what the reader itself
// builds (sequences of atomic actions, hidden names) is left out, values
// are written as literals, numbers with every digit, so that the text reads
// back to the same tree. Set on a stream for the life of the object.
bool show_as_score_text(std::ostream& out);
class ShowAsScoreText {
public:
    explicit ShowAsScoreText(std::ostream& out);
    ~ShowAsScoreText();
    ShowAsScoreText(const ShowAsScoreText&) = delete;
    ShowAsScoreText& operator=(const ShowAsScoreText&) = delete;

private:
    std::ostream& out;
    long saved;
};

// Indentation state for printing nested trees.
class Tabulation {
public:
    Tabulation& operator+=(int n) { depth += n; return *this; }
    Tabulation& operator-=(int n) { depth = depth > n ? depth - n : 0; return *this; }
    Tabulation& operator++() { ++depth; return *this; }
    Tabulation& operator--() { if (depth > 0) --depth; return *this; }
    int level() const { return depth; }
    // Spaces to reach the given column from the current indentation.
    std::string spaces_with_columns(int columns) const;

private:
    int depth = 0;
    friend std::ostream& operator<<(std::ostream& out, const Tabulation& tab);
};

std::ostream& operator<<(std::ostream& out, const Tabulation& tab);
