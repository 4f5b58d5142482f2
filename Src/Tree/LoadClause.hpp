// "@eval_when_load { actions }": actions run once, when the score has been
// read and its references checked. The score keeps them for its life, as
// what they start may still run.
#pragma once

#include "Tree/Action.hpp"

class LoadClause final : public ASTNode {
public:
    explicit LoadClause(ActionPtr actions)
        : actions(std::move(actions)) {}

    void show(std::ostream& out) const override {
        out << "@eval_when_load {\n";
        {
            ShowNesting nested(out);
            if (actions) actions->show(out);
        }
        out << "}\n";
    }

    ActionPtr actions;
};
