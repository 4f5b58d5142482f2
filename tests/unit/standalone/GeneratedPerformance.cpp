#include "GeneratedPerformance.hpp"

#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "ScoreFiles.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <fstream>
#include <numbers>
#include <sstream>

namespace {

std::string pitch_list(const std::vector<int>& pitches) {
    std::string text;
    for (size_t i = 0; i < pitches.size(); ++i)
        text += (i ? " " : "") + std::to_string(pitches[i]);
    return text;
}

std::string beats_text(double beats) {
    std::ostringstream out;
    out << beats;
    return out.str();
}

} // namespace

std::string WrittenEvent::text() const {
    const std::string b = beats_text(beats);
    switch (kind) {
    case Note:
        return "NOTE " + std::to_string(pitches.at(0)) + " " + b;
    case Chord:
        return "CHORD (" + pitch_list(pitches) + ") " + b;
    case Grace:
        return "NOTE " + std::to_string(pitches.at(0)) + " 0";
    case Trill:
        return "TRILL (" + pitch_list(pitches) + ") " + b;
    case Multi:
        return "MULTI (" + pitch_list(pitches) + ") " + b;
    case Glide:
        return "MULTI ((" + std::to_string(pitches.at(0)) + ") -> (" + std::to_string(pitches.at(1)) + ")) " +
               b;
    case Rest:
        return "NOTE 0 " + b;
    case Tie:
        return "NOTE -" + std::to_string(pitches.at(0)) + " " + b;
    }
    return {};
}

std::string WrittenScore::text() const {
    std::string out = "BPM " + beats_text(bpm) + "\n";
    for (const WrittenEvent& e : events)
        out += e.text() + "\n";
    return out;
}

std::vector<double> WrittenScore::beats() const {
    std::vector<double> at{0};
    double beat = 0;
    for (const WrittenEvent& e : events) {
        at.push_back(beat);
        if (e.kind != WrittenEvent::Grace) beat += e.beats;
    }
    return at;
}

// The tempo at beat b is bpm * (1 + rubato * sin(2 pi b / period)); the
// time is its integral, summed in small steps of beats.
double time_at_beat(double beat, double bpm, const PlayStyle& style) {
    if (style.rubato == 0) return style.start + beat * 60.0 / bpm;
    const double step = 1.0 / 64;
    double t = style.start;
    for (double b = 0; b < beat; b += step) {
        const double span = std::min(step, beat - b);
        const double tempo =
            bpm * (1 + style.rubato * std::sin(2 * std::numbers::pi * (b + span / 2) / style.rubato_beats));
        t += span * 60.0 / tempo;
    }
    return t;
}

namespace {

class Player {
public:
    Player(const WrittenScore& s, const PlayStyle& st)
        : score(s)
        , style(st)
        , beats(s.beats()) {}

    Performance play() {
        perf.onsets.assign(score.events.size() + 1, 0.0);
        for (size_t i = 1; i <= score.events.size(); ++i)
            play_event(i);
        return perf;
    }

private:
    double at(double beat) const { return time_at_beat(beat, score.bpm, style); }

    int maybe_wrong(int pitch) {
        ++struck;
        return style.wrong_every > 0 && struck % style.wrong_every == 0 ? pitch + 1 : pitch;
    }

    void strike(double onset, int pitch, double length) {
        perf.spans.push_back({onset, static_cast<uint8_t>(maybe_wrong(pitch)), length, 80, 0});
        perf.end = std::max(perf.end, onset + length);
    }

    // The note before a tie is held on through it (played right or a
    // semitone off; a stray note struck since is not it).
    void hold_on(int pitch, double to) {
        for (auto it = perf.spans.rbegin(); it != perf.spans.rend(); ++it) {
            if (it->pitch != pitch && it->pitch != pitch + 1) continue;
            it->duration = to - it->onset - 0.02;
            return;
        }
    }

    // Elements one after the other across the event's length.
    void succession(const std::vector<std::vector<int>>& elements, double from, double to) {
        const double each = (to - from) / static_cast<double>(elements.size());
        for (size_t k = 0; k < elements.size(); ++k)
            for (int p : elements[k])
                strike(from + each * static_cast<double>(k), p, each * style.legato);
    }

    // How many grace notes, from event i on, come before the main note.
    size_t graces_from(size_t i) const {
        size_t n = 0;
        while (i + n <= score.events.size() && score.events[i + n - 1].kind == WrittenEvent::Grace)
            ++n;
        return n;
    }

    void play_event(size_t i) {
        const WrittenEvent& e = score.events[i - 1];
        const double from = at(beats[i]);
        const double to = at(beats[i] + e.beats);
        const double length = (to - from) * style.legato;
        perf.onsets[i] = from;
        switch (e.kind) {
        case WrittenEvent::Note:
            strike(from, e.pitches[0], length);
            break;
        case WrittenEvent::Chord:
            for (size_t k = 0; k < e.pitches.size(); ++k)
                strike(from + 0.008 * static_cast<double>(k), e.pitches[k], length);
            break;
        case WrittenEvent::Grace: {
            // Graces in a row lead their main note one after the other.
            const double lead = style.grace_lead * static_cast<double>(graces_from(i));
            perf.onsets[i] = from - lead;
            strike(from - lead, e.pitches[0], style.grace_lead * 0.8);
            break;
        }
        case WrittenEvent::Trill:
            for (double t = from, k = 0; t < to - style.trill_step / 2; t += style.trill_step, ++k)
                strike(t, e.pitches[static_cast<size_t>(k) % e.pitches.size()], style.trill_step * 0.9);
            break;
        case WrittenEvent::Multi: {
            std::vector<std::vector<int>> elements;
            for (int p : e.pitches)
                elements.push_back({p});
            succession(elements, from, to);
            break;
        }
        case WrittenEvent::Glide: {
            std::vector<std::vector<int>> elements;
            const int a = e.pitches[0], b = e.pitches[1], dir = b > a ? 1 : -1;
            for (int p = a; p != b + dir; p += dir)
                elements.push_back({p});
            succession(elements, from, to);
            break;
        }
        case WrittenEvent::Rest:
            break;
        case WrittenEvent::Tie:
            hold_on(e.pitches[0], to);
            break;
        }
        if (style.stray_every > 0 && i % static_cast<size_t>(style.stray_every) == 0 &&
            e.kind != WrittenEvent::Rest && e.kind != WrittenEvent::Tie)
            perf.spans.push_back({from + 0.11, 90, 0.05, 50, 0});
    }

    const WrittenScore& score;
    const PlayStyle& style;
    std::vector<double> beats;
    Performance perf;
    int struck = 0;
};

} // namespace

Performance perform(const WrittenScore& score, const PlayStyle& style) {
    return Player(score, style).play();
}

FollowedPositions follow_midi(const std::string& score, const std::vector<MidiNoteSpan>& spans,
                              const std::vector<std::string>& settings) {
    TempScore score_file(score);
    TempScore midi_file("", ".mid");
    std::string error;
    EXPECT_TRUE(write_midi_file(midi_file.path, midi_events_from_spans(spans), 480, 120, &error)) << error;
    return follow_midi_file(score_file.path, midi_file.path, settings);
}

FollowedPositions follow_midi_file(const std::string& score_path, const std::string& midi_path,
                                   const std::vector<std::string>& settings) {
    TempScore trace_file("", ".jsonl");
    ConsoleCapture console;
    FollowOptions options;
    options.score = score_path;
    options.midi = midi_path;
    options.trace = trace_file.path;
    options.quiet = true;
    options.listening = settings;
    std::ostringstream human;
    EXPECT_EQ(run_follow(options, human), 0);

    FollowedPositions f;
    std::ifstream trace(trace_file.path);
    for (std::string line; std::getline(trace, line);) {
        const auto j = nlohmann::json::parse(line);
        if (j["type"] != "position") continue;
        const int index = j["index"].get<int>();
        f.positions.push_back(index);
        f.first.emplace(index, j["t"].get<double>());
    }
    return f;
}

bool reported_in_order(const FollowedPositions& f, int last, std::string* why) {
    std::vector<int> seen;
    for (int p : f.positions)
        if (p != 0) seen.push_back(p);
    std::vector<int> expected;
    for (int i = 1; i <= last; ++i)
        expected.push_back(i);
    if (seen == expected) return true;
    if (why) {
        std::ostringstream out;
        out << "reported:";
        for (int p : seen)
            out << ' ' << p;
        *why = out.str();
    }
    return false;
}
