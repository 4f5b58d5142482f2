#include "Base/ASTNode.hpp"

#include <sstream>

void ASTNode::accept(ASTVisitor*) {}

std::string ASTNode::show() const {
    std::ostringstream out;
    show(out);
    return out.str();
}

std::ostream& operator<<(std::ostream& out, const ASTNode& node) {
    node.show(out);
    return out;
}

std::ostream& operator<<(std::ostream& out, const ASTNode* node) {
    if (node) node->show(out);
    return out;
}

std::string Tabulation::spaces_with_columns(int columns) const {
    const int used = 4 * depth;
    return std::string(columns > used ? static_cast<size_t>(columns - used) : 1, ' ');
}

std::ostream& operator<<(std::ostream& out, const Tabulation& tab) {
    return out << std::string(static_cast<size_t>(4 * tab.depth), ' ');
}
