#include "Exp/Reference.hpp"

#include "Exp/Environment.hpp"
#include "Base/Console.hpp"
#include "Exp/EvalContext.hpp"

#include <map>
#include <mutex>
#include <ostream>

namespace {

// Names can be interned from the OSC threads as well as the engine's.
struct NameTable {
    std::mutex mutex;
    std::map<std::string, unique_identifier> uidmap;
    std::map<unique_identifier, const std::string*> stringmap;
};

NameTable& names() {
    static auto* table = new NameTable; // never destroyed: names outlive static destructors
    return *table;
}

} // namespace

Reference::Reference(EvalContext* engine, const std::string& ref_name, const yy::location* loc)
    : NonConstantExpression(loc)
    , name(ref_name)
    , uid(unique_id(ref_name))
    , ctx(engine) {}

void Reference::set_reference(const TaggedValue&) const {
    error("Internal error: trying to set a reference which is not a var nor a dsp var: %s", name.c_str());
}

unique_identifier Reference::unique_id(const std::string& n) {
    NameTable& table = names();
    std::lock_guard lock(table.mutex);
    const auto [it, fresh] = table.uidmap.emplace(n, static_cast<unique_identifier>(table.uidmap.size() + 1));
    if (fresh) table.stringmap.emplace(it->second, &it->first);
    return it->second;
}

const std::string& Reference::uid2string(unique_identifier id) {
    static const std::string unknown;
    NameTable& table = names();
    std::lock_guard lock(table.mutex);
    const auto it = table.stringmap.find(id);
    if (it != table.stringmap.end()) return *it->second;
    error("Error:unregistered name %d", static_cast<int>(id));
    return unknown;
}

Environment* Reference::my_dynamic_env(EvalContext* engine, unique_identifier id) {
    std::vector<Environment*>* stack = engine ? &engine->env_stack() : nullptr;
    if (!stack) return nullptr;
    for (auto it = stack->rbegin(); it != stack->rend(); ++it)
        if (*it && (*it)->index_of.count(id)) return *it;
    return nullptr;
}

void Reference::show(std::ostream& out, int) const {
    out << name;
}

int Reference::etag() const {
    static const int tag = new_etag();
    return tag;
}

int Reference::compare_with(const Expression* other) const {
    const auto* o = static_cast<const Reference*>(other);
    return name.compare(o->name);
}

void report_location(const char* what, const yy::location* loc) {
    if (loc) post_location(what, loc);
}
