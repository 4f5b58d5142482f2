#include "Tree/Track.hpp"

#include "Base/Console.hpp"
#include "Tree/Action.hpp"
#include "Tree/BuildContext.hpp"
#include "Tree/Score.hpp"

#include <algorithm>
#include <cctype>

namespace {

bool same_text_ignoring_case(const std::string& a, const std::string& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

TrackDefinition* find_track(Score& score, const std::string& name) {
    for (const auto& d : score.definitions)
        if (auto* t = dynamic_cast<TrackDefinition*>(d.get()); t && t->name == name) return t;
    return nullptr;
}

// The names an action shows to the filters.
std::vector<std::string> names_of(const Action& action) {
    std::vector<std::string> names;
    if (std::string m = action.msg_name(); !m.empty()) names.push_back(std::move(m));
    if (std::string p = action.proc_name(); !p.empty()) names.push_back(std::move(p));
    if (std::string w = action.word(); w.rfind("cadenzium::", 0) == 0) names.push_back(std::move(w));
    if (!action.get_label().empty() && !is_an_anonymous_name(action.get_label()))
        names.push_back(action.get_label());
    return names;
}

} // namespace

std::string track_base_name(const std::string& name) {
    static const std::string prefix = "track::";
    if (name.size() > prefix.size() && same_text_ignoring_case(name.substr(0, prefix.size()), prefix))
        return name.substr(prefix.size());
    return name;
}

void TrackDefinition::make(BuildContext* ctx, const std::string& written, TrackMatchList matchlist,
                           const yy::location* loc) {
    if (!ctx || !ctx->score) {
        error("track def '%s': no score to define it in", written.c_str());
        return;
    }
    Score& score = *ctx->score;
    const std::string name = track_base_name(written);
    if (TrackDefinition* old = find_track(score, name)) {
        post("WARNING: redefinition of track %s", name.c_str());
        old->matchlist = std::move(matchlist);
        return;
    }
    const std::size_t count = score_tracks(score).size();
    if (count >= kMaxTracks) {
        error("Tracks '%s': cannot define more than %d tracks", name.c_str(), static_cast<int>(kMaxTracks));
        post_location("track definition", loc);
        return;
    }
    score.definitions.push_back(
        std::make_unique<TrackDefinition>(name, static_cast<unsigned>(count), std::move(matchlist)));
}

TrackDefinition::TrackDefinition(std::string n, unsigned index, TrackMatchList list)
    : name(std::move(n))
    , flagindex(index)
    , matchlist(std::move(list)) {}

void TrackDefinition::show(std::ostream& out) const {
    out << "@Track_def track::" << name << " {";
    for (std::size_t i = 0; i < matchlist.size(); ++i) {
        const auto& [text, prefix] = matchlist[i];
        out << (i ? ", " : " ");
        if (prefix || text.rfind("::", 0) == 0 || text.rfind("cadenzium::", 0) == 0)
            out << text;
        else
            out << '"' << text << '"';
    }
    out << " }\n";
}

bool TrackDefinition::check_track(const std::string& candidate) const {
    return std::any_of(matchlist.begin(), matchlist.end(), [&](const auto& entry) {
        return entry.second ? candidate.rfind(entry.first, 0) == 0 : candidate == entry.first;
    });
}

bool TrackDefinition::matches(const Action& action) const {
    const std::vector<std::string> names = names_of(action);
    return std::any_of(names.begin(), names.end(), [&](const std::string& n) { return check_track(n); });
}

std::vector<const TrackDefinition*> score_tracks(const Score& score) {
    std::vector<const TrackDefinition*> tracks;
    for (const auto& d : score.definitions)
        if (const auto* t = dynamic_cast<const TrackDefinition*>(d.get())) tracks.push_back(t);
    return tracks;
}

const TrackDefinition* string2track(const Score& score, const std::string& name) {
    const std::string base = track_base_name(name);
    for (const TrackDefinition* t : score_tracks(score))
        if (t->name == base) return t;
    return nullptr;
}

std::bitset<32> tracks_of(const Score& score, const Action& action) {
    std::bitset<32> mask;
    for (const TrackDefinition* t : score_tracks(score))
        if (t->matches(action)) t->set_mask(mask);
    return mask;
}
