#include "PdBatch.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <sys/wait.h>

namespace fs = std::filesystem;

std::vector<PdNote> read_notes(const fs::path& performance) {
    std::vector<PdNote> notes;
    std::ifstream in(performance);
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line.substr(0, line.find('#')));
        PdNote n{};
        if (fields >> n.onset >> n.pitch >> n.duration >> n.velocity) notes.push_back(n);
    }
    return notes;
}

namespace {

// What the patch's player sends, in time order, as qlist lines: the delay
// since the line before (ms), then the receiver and the message. Notes go
// to "perf-notes" as pitch and velocity; a rewrite of the score goes to the
// qlist "score-writer", which writes its lines to score.cad.
std::string qlist_of(const std::vector<PdNote>& notes, const PdPatch& patch) {
    std::multimap<double, std::string> lines;
    for (const PdNote& n : notes) {
        lines.emplace(n.onset, "perf-notes " + std::to_string(n.pitch) + " " + std::to_string(n.velocity));
        lines.emplace(n.onset + n.duration, "perf-notes " + std::to_string(n.pitch) + " 0");
    }
    if (!patch.rewrite.empty()) {
        lines.emplace(patch.rewrite_at, "score-writer clear");
        for (const std::string& text : patch.rewrite)
            lines.emplace(patch.rewrite_at, "score-writer add " + text);
        lines.emplace(patch.rewrite_at, "score-writer write score.cad");
    }
    std::ostringstream q;
    double last = 0;
    for (const auto& [t, line] : lines) {
        q << (t - last) * 1000.0 << ' ' << line << ";\n";
        last = t;
    }
    q << std::max(0.0, patch.seconds - last) * 1000.0 << " pd quit;\n";
    return q.str();
}

// Objects are numbered as they are written; connections name them.
class PatchWriter {
public:
    int obj(const std::string& text) { return add("#X obj 10 " + y() + " " + text + ";"); }
    int msg(const std::string& text) { return add("#X msg 10 " + y() + " " + text + ";"); }
    void connect(int from, int outlet, int to, int inlet) {
        wires << "#X connect " << from << ' ' << outlet << ' ' << to << ' ' << inlet << ";\n";
    }
    std::string text() const { return "#N canvas 0 0 800 600 12;\n" + body.str() + wires.str(); }

private:
    int add(const std::string& line) {
        body << line << '\n';
        return count++;
    }
    std::string y() const { return std::to_string(10 + 30 * count); }
    std::ostringstream body, wires;
    int count = 0;
};

std::vector<std::string> outlet_names(const std::string& box) {
    std::istringstream words(box);
    std::vector<std::string> names;
    bool outlets = false;
    for (std::string w; words >> w;) {
        if (w[0] == '@') {
            outlets = w == "@OUTLET";
            continue;
        }
        if (outlets) names.push_back(w);
    }
    if (names.empty()) names = {"MAIN", "TEMPO", "LABEL", "LOADBANG"};
    return names;
}

std::string read_all(const fs::path& p) {
    std::ifstream in(p);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

} // namespace

std::string PdPatch::text() const {
    PatchWriter w;
    const int start = w.obj("loadbang");
    // Right to left: load and start, read the sound, turn DSP on, play.
    const int order = w.obj("t b b b b");
    w.connect(start, 0, order, 0);
    const int object = w.obj(box);
    std::string first;
    for (const std::string& c : setup)
        first += c + " \\, ";
    first += "load score.cad \\, start";
    for (const std::string& c : commands)
        first += " \\, " + c;
    const int load = w.msg(first);
    w.connect(order, 3, load, 0);
    w.connect(load, 0, object, 0);
    const std::vector<std::string> names = outlet_names(box);
    for (std::size_t i = 0; i < names.size(); ++i) {
        const int p = w.obj("print " + names[i]);
        if (names[i] != "AUDIO") {
            w.connect(object, static_cast<int>(i), p, 0);
            continue;
        }
        const int level = w.obj("env~");
        w.connect(object, static_cast<int>(i), level, 0);
        w.connect(level, 0, p, 0);
    }
    for (const std::string& r : receivers) {
        const int in = w.obj("r " + r);
        const int tag = w.obj("list prepend " + r);
        const int trim = w.obj("list trim");
        const int out = w.obj("print message");
        w.connect(in, 0, tag, 0);
        w.connect(tag, 0, trim, 0);
        w.connect(trim, 0, out, 0);
    }
    if (!rewrite.empty()) {
        const int in = w.obj("r score-writer");
        const int writer = w.obj("qlist");
        w.connect(in, 0, writer, 0);
    }
    const int player = w.obj("qlist");
    const int play = w.msg("read perf.txt \\, bang");
    w.connect(order, 0, play, 0);
    w.connect(play, 0, player, 0);
    if (sound.empty()) {
        const int notes_in = w.obj("r perf-notes");
        w.connect(notes_in, 0, object, 0);
        if (dsp) {
            const int on = w.msg("\\; pd dsp 1");
            w.connect(order, 1, on, 0);
        }
        return w.text();
    }
    w.obj("table perf");
    const int files = w.obj("soundfiler");
    const int read = w.msg("read -resize " + sound + " perf");
    w.connect(order, 2, read, 0);
    w.connect(read, 0, files, 0);
    const int dsp = w.msg("\\; pd dsp 1");
    w.connect(order, 1, dsp, 0);
    const int tab = w.obj("tabplay~ perf");
    w.connect(tab, 0, object, 0);
    const int bang = w.msg("bang");
    w.connect(order, 0, bang, 0);
    w.connect(bang, 0, tab, 0);
    return w.text();
}

PdRun run_pd(const fs::path& dir, const PdPatch& patch) {
    std::ofstream(dir / "patch.pd") << patch.text();
    std::ofstream(dir / "perf.txt") << qlist_of(patch.sound.empty() ? patch.notes : std::vector<PdNote>{},
                                                patch);
    std::ostringstream command;
    command << "cd '" << dir.string() << "' && " << CAD_PD_PRELOAD
            << " timeout -k 2 120 pd -nogui -batch -noprefs -r 44100 "
            << "-path '" << CAD_PD_EXTERNAL_DIR << "' -open patch.pd >console.txt 2>&1";
    const int raw = std::system(command.str().c_str());
    PdRun run;
    run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128;
    run.console = read_all(dir / "console.txt");
    std::istringstream in(run.console);
    for (std::string line; std::getline(in, line);)
        run.lines.push_back(line);
    return run;
}
