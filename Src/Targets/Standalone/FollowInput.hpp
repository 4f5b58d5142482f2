// The sources of a performance for `cadenzium follow`: a MIDI file, a sound
// file, live audio through JACK, live MIDI through ALSA. Each opens itself
// and sets the host up to listen to it before the score is read (the
// listening machine builds its templates while reading), then drives the
// engine until the performance ends or the user stops it.
#pragma once

#include "Commands.hpp"
#include "FollowReport.hpp"
#include "RunTime/ListeningProfile.hpp"
#include "StandaloneHost.hpp"

#include <memory>

// The longest performance followed, in seconds: a day. Longer recordings
// are refused, and a live run lasts at most that.
inline constexpr double kLongestPerformance = 86400.0;

// False, reported, when a recording at `path` lasting `seconds` is longer
// than a performance can be.
bool performance_length_ok(const std::string& path, double seconds);

class FollowInput {
public:
    virtual ~FollowInput() = default;

    // How the engine should listen to this source.
    virtual ListeningProfile profile(const FollowOptions& options) const = 0;
    // Reads the file or connects to the source and sets up the host. False,
    // with the reason on the console, when it cannot.
    virtual bool open(StandaloneHost& host) = 0;
    // Follows the performance to its end (and the tail), or, live, until
    // interrupted or `options.duration` has passed. False when the source
    // failed on the way (reported).
    virtual bool run(StandaloneHost& host, FollowReport& report, const FollowOptions& options) = 0;
};

// How a MIDI source is heard: the piano profile, or the engine's defaults
// when asked.
inline ListeningProfile midi_listening(const FollowOptions& options) {
    return options.design_listening ? design_profile() : piano_midi_profile();
}

// How a sound is heard: the piano audio profile, or the engine's defaults
// when asked.
inline ListeningProfile audio_listening(const FollowOptions& options) {
    return options.design_listening ? design_profile() : piano_audio_profile();
}

// Applies settings "NAME=VALUE" over a profile; false (reported) for a bad
// one.
bool override_profile(ListeningProfile& profile, const std::vector<std::string>& settings);

// The source the options name, or null (reported) when they name none or
// more than one.
std::unique_ptr<FollowInput> make_follow_input(const FollowOptions& options);

// Sends the engine's position changes and messages to `reports` (a
// FollowReport, or a relay towards one). Notes inside a trill or a
// multi-event report their event again: one report per change of event is
// what a reader wants.
template <class Reports>
void connect_reports(StandaloneHost& host, Reports& reports) {
    host.on_position([&reports, last_index = -1](int index, const Event* e, double time, double tempo) mutable {
        if (index == last_index) return;
        last_index = index;
        reports.position({time, index, e, tempo});
    });
    host.on_message([&reports](const message& m) { reports.message(m); });
}

// The inputs themselves (FollowFiles.cpp, FollowLive.cpp).
std::unique_ptr<FollowInput> midi_file_input(const std::string& path);
std::unique_ptr<FollowInput> audio_file_input(const std::string& path);
std::unique_ptr<FollowInput> live_audio_input(const FollowOptions& options);
std::unique_ptr<FollowInput> live_midi_input(const FollowOptions& options);
