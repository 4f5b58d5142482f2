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

namespace {

int score_text_slot() {
    static const int slot = std::ios_base::xalloc();
    return slot;
}

} // namespace

bool show_as_score_text(std::ostream& out) {
    return out.iword(score_text_slot()) != 0;
}

ShowAsScoreText::ShowAsScoreText(std::ostream& o)
    : out(o)
    , saved(o.iword(score_text_slot())) {
    out.iword(score_text_slot()) = 1;
}

ShowAsScoreText::~ShowAsScoreText() {
    out.iword(score_text_slot()) = saved;
}
