// The recorded piano performances of the data directory read completely.
#include "Targets/Standalone/MidiFile.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <sstream>

namespace fs = std::filesystem;

namespace {

fs::path follow_dir() {
    const char* from_env = std::getenv("CAD_DATA_DIR");
    return fs::path(from_env && *from_env ? from_env : CAD_DEFAULT_DATA_DIR) / "follow";
}

std::vector<fs::path> performances() {
    std::vector<fs::path> files;
    std::error_code ec;
    for (const fs::directory_entry& entry : fs::directory_iterator(follow_dir(), ec))
        if (fs::exists(entry.path() / "perf.mid")) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

// A number field of the case's meta.json, if present.
std::optional<double> meta_number(const fs::path& dir, const std::string& key) {
    std::ifstream in(dir / "meta.json");
    std::stringstream text;
    text << in.rdbuf();
    std::smatch match;
    std::string content = text.str();
    if (!std::regex_search(content, match, std::regex("\"" + key + "\"\\s*:\\s*([0-9.]+)")))
        return std::nullopt;
    return std::stod(match[1]);
}

// Every note-on is released by a later note-off of its pitch and channel.
void expect_balanced(const std::vector<MidiNote>& notes) {
    std::map<std::pair<int, int>, int> sounding;
    for (const MidiNote& note : notes) {
        int& count = sounding[{note.channel, note.pitch}];
        count += note.is_on() ? 1 : -1;
        EXPECT_GE(count, 0) << "note-off without note-on, pitch " << int(note.pitch) << " at " << note.time;
    }
    for (const auto& [key, count] : sounding)
        EXPECT_EQ(count, 0) << "pitch " << key.second << " never released";
}

} // namespace

TEST(MidiReadPerformances, EveryRecordedPerformanceReadsCompletely) {
    std::vector<fs::path> cases = performances();
    if (cases.empty()) GTEST_SKIP() << "no performances in " << follow_dir() << " (set CAD_DATA_DIR)";
    for (const fs::path& dir : cases) {
        SCOPED_TRACE(dir.filename().string());
        MidiReadResult result = read_midi_file((dir / "perf.mid").string());
        ASSERT_TRUE(result.ok()) << result.error;
        EXPECT_EQ(result.format, 0);
        EXPECT_TRUE(std::is_sorted(result.notes.begin(), result.notes.end(),
                                   [](const MidiNote& a, const MidiNote& b) { return a.time < b.time; }));
        expect_balanced(result.notes);
        double onsets = double(std::count_if(result.notes.begin(), result.notes.end(),
                                             [](const MidiNote& note) { return note.is_on(); }));
        if (auto performed = meta_number(dir, "performed_notes")) {
            EXPECT_EQ(onsets, *performed);
        }
        if (auto duration = meta_number(dir, "duration_s")) {
            EXPECT_NEAR(result.duration, *duration, 0.01);
        }
    }
}
