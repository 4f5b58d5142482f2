// One node of the electronic part of a score. An action has a delay
// (relative to the preceding action of its block), a label, attributes read
// once at construction, and a place in the text. Atomic actions are leaves;
// compound actions (Bloc.hpp) hold bodies. A node owns its children, its
// expressions and its attributes through unique pointers; the raw pointers
// it keeps are views (into its attributes, up to its parent).
#pragma once

#include "Base/ASTNode.hpp"
#include "Base/Location.hpp"
#include "Exp/ExpressionBase.hpp"
#include "Exp/Var.hpp"
#include "Tree/ActionVisitor.hpp"
#include "Tree/Attributes.hpp"
#include "Tree/BuildContext.hpp"
#include "Tree/Duration.hpp"

#include <bitset>
#include <list>
#include <memory>
#include <string>
#include <vector>

class ActionVisitor;
class Bloc;
class Environment;
class Expression;
class Score;
class Var;
class TempoDec;

using ActionPtr = std::unique_ptr<Action>;
// The actions of a block, in the order they are written.
using ActionList = std::vector<ActionPtr>;

// The locality of an action: "@local", "@global", or neither.
enum Locality : int { LOCALITY_LOCAL = 0, LOCALITY_GLOBAL = 1, LOCALITY_UNSET = 2 };

class Action : public ASTNode {
public:
    // `name` empty: the label comes from the attributes, else it is an
    // anonymous name on `base`. The action takes the attribute list; the
    // delay and the place are copied (null delay: 0 beats).
    Action(BuildContext* ctx, const std::string& name, const CadDuration* delay, AttributeList attributes,
           const yy::location* loc, const char* base);
    ~Action() override;
    Action(const Action&) = delete;
    Action& operator=(const Action&) = delete;

    using ASTNode::show;
    // The delay, the word of the action, its label, its attributes and place,
    // then the body, indented as the stream's depth says.
    void show(std::ostream& out) const override;
    // The same with another delay in front (a sequence lends its delay to
    // its first action when it prints as score text).
    void show_with_delay(std::ostream& out, const CadDuration& shown_delay) const;
    // The receiver of a message (or "" for other actions).
    virtual std::string msg_name() const { return {}; }
    virtual std::string proc_name() const { return {}; }
    virtual bool is_bloc() const { return false; }
    virtual bool is_atomic_sequence() const { return false; }
    virtual bool is_simple_var_assignment() const { return false; }
    // 0 no declaration, 1 "@local", 2 "@global", 3 "@tempovar".
    virtual int declare_type() const { return 0; }
    // Hands the action to a visitor as its own kind (see ActionVisitor):
    // how an action runs belongs to the runtime, not to the tree.
    virtual void accept(ActionVisitor& visitor) = 0;
    // The variables an "@local" or "@global" declares.
    virtual const std::vector<VarPtr>* get_local_var() const { return nullptr; }
    virtual const TempoDec* get_tempo_var() const { return nullptr; }
    // The variables read by this action's expressions (not its children's).
    virtual void get_variables(std::set<const Var*, CompareVarPtr>& out) const;
    // How many actions the score writes here: this one, its children and
    // the actions of its attributes.
    virtual int countActions() const;
    virtual void set_parent(Bloc* p) { parent = p; }
    // A group around this action when it is tight (see Gfwd), which takes
    // the action over; a compound action is already one and stays itself.
    static ActionPtr groupify(BuildContext* ctx, ActionPtr action);
    // Binds the variables of the action's expressions to a scope: globally
    // when `level` is GLOBAL_SCOPE_LEVEL, else those named in `locals`.
    virtual void set_env(Environment* env, const std::list<std::string>& locals, int level);
    virtual void compute_origin(const Origin& o) { origin = o; }
    // Takes what the tree needs to know of itself at the end of a reading:
    // the tracks of the enclosing actions (`context`) and its own, which its
    // children inherit.
    virtual void compute_and_propage(const std::bitset<32>& context, Score* score);
    // The word printed first: "group", "loop", the receiver of a message...
    virtual std::string word() const = 0;
    // The word that writes the action in score text, when not `word`.
    virtual std::string text_word() const { return word(); }
    // Whether score text gives the label (false when the reader makes it
    // from the rest of the action).
    virtual bool label_is_written() const { return true; }
    // What follows the word and the label on the first line (arguments,
    // condition, period).
    virtual void show_head(std::ostream&) const {}
    // Whether show prints a braced body.
    virtual bool has_body() const { return false; }
    virtual void show_body(std::ostream&) const {}
    // What follows the closing brace (end conditions).
    virtual void show_tail(std::ostream&) const {}

    // Adds `d` to this action's delay; a tight child passes its delay on.
    void add_delay(const CadDuration& d);
    // Prints the attributes but the label, and "\t; line N".
    void show_attl(std::ostream& out) const;
    // Posts where the action was written.
    void post_location() const;
    const std::string& get_label() const { return label; }
    bool label_is_shown() const;

    // restructure_sequence: runs of undelayed simple atomic actions in
    // `list` become one AtomicSequence each.
    static void restructure_sequence(BuildContext* ctx, ActionList& list);
    // A body as one action: the list itself when `simplify` allows and it
    // holds a single undelayed action, else a group named `name`.
    static ActionPtr make_action_from_actionlist(BuildContext* ctx, const std::string& name,
                                                 const CadDuration* delay, AttributeList attributes,
                                                 ActionList list, const yy::location* loc, bool simplify);

    // ---- fields, as construction sets them ----
    // Views into the attribute list, which owns what they point to.
    Expression* tempo_expression = nullptr;
    Expression* condition = nullptr;
    CadDuration delay;
    int locality = LOCALITY_UNSET;
    std::string label;
    bool tight = false, loose = false, ante = false, post = false;
    const ExpressionList* tight_l = nullptr;
    const ExpressionList* loose_l = nullptr;
    const ExpressionList* ante_l = nullptr;
    const ExpressionList* post_l = nullptr;
    std::vector<int> tight_events, loose_events, ante_events, post_events;
    AttributeList attributes;
    std::unique_ptr<yy::location> location; // a copy of the place in the text
    std::string bsym;
    bool bsym_set = false;
    int bsym_count = 0;
    const ExpressionList* events_tempo = nullptr;
    const ExpressionList* events_list_target = nullptr;
    const CadDuration* duration_target = nullptr;
    const Expression* logic_target = nullptr;
    const Expression* phase_target = nullptr;
    const Expression* period_target = nullptr;
    int prog = 2;
    bool immediate = false;
    Bloc* parent = nullptr; // the enclosing block, which owns this action
    // The tracks the action belongs to, its own and its parents' (Track.hpp).
    std::bitset<32> track_mask;
    Origin origin;
    // True for the actions the reader adds (hidden groups of events and
    // bodies, the parts of a simplified curve): the count of actions leaves
    // them out.
    bool hidden = false;

protected:
    // The expressions this node holds itself (not those of its children or
    // attributes), for the walks of set_env, get_variables and the like.
    virtual std::vector<Expression*> own_expressions() const { return {}; }
    // The actions held by attributes ("@action", "@abort").
    std::vector<Action*> attribute_actions() const;
};

class AtomicAction : public Action {
public:
    using Action::Action;
    // The hook of simple atomic actions: true when it may join an
    // AtomicSequence (see restructure_sequence).
    virtual bool weak_ok_action() const;
};

// The depth of indentation that `show` uses on a stream.
int show_depth(std::ostream& out);
void show_indent(std::ostream& out);
// Raises the depth for the life of the object.
class ShowNesting {
public:
    explicit ShowNesting(std::ostream& out);
    ~ShowNesting();
    ShowNesting(const ShowNesting&) = delete;
    ShowNesting& operator=(const ShowNesting&) = delete;

private:
    std::ostream& out;
};

// Shows a list of expressions separated by `sep`.
void show_expressions(std::ostream& out, const ExpressionList& list, const char* sep);

// Appends views of the nodes of an owning list (of expressions, variables...).
template <class Owning>
void append_views(std::vector<Expression*>& out, const Owning& list) {
    for (const auto& e : list)
        out.push_back(e.get());
}

// ---- names of hidden objects ----
// "__anonymous<n>_<name>" ("$__anonymous..." with `dollar`), n counting the
// hidden names of the reading; an anonymous prefix already on `name` is
// dropped first. At most 127 characters.
std::string anonymous_name(BuildContext* ctx, const std::string& name, bool dollar = false);
bool is_an_anonymous_name(const std::string& name);
// `name` when given, else the first label attribute, else an anonymous name on `base`.
std::string make_label(BuildContext* ctx, const std::string& name, const AttributeList& attributes,
                       const std::string& base);
