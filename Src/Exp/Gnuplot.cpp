// "@gnuplot": tabs of numbers plotted by the gnuplot program. The call
// checks and copies the data; a helper thread writes the data and script
// files and runs gnuplot. Without a display the plot is written as a PNG
// beside the score ("<score>_plot<n>.png").
#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/EvalContext.hpp"
#include "Exp/Library.hpp"
#include "Exp/LibraryInstall.hpp"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

struct Curve {
    std::string title;
    std::vector<double> y;
};

struct Plot {
    std::string title = "GNUPLOT";
    bool against_index = true; // else the first column is x
    std::vector<double> x;
    std::vector<Curve> curves;
};

bool numbers_of(const TaggedValue& t, std::vector<double>& out) {
    for (const Value& e : tab_of(t)) {
        if (!e->is_numeric()) return false;
        out.push_back(e->get_double());
    }
    return true;
}

bool one_tab(const LibraryCall& call, std::size_t i, Plot& plot, const std::string& title) {
    Curve c{title, {}};
    if (!numbers_of(call[i], c.y)) {
        error("@gnuplot: non numeric data [gn10]");
        return false;
    }
    if (c.y.empty()) {
        error("@gnuplot: empty data [gn8]");
        return false;
    }
    plot.curves.push_back(std::move(c));
    return true;
}

bool x_and_y(const LibraryCall& call, std::size_t i, Plot& plot) {
    plot.against_index = false;
    if (!numbers_of(call[i], plot.x)) {
        error("@gnuplot: first arg is not a tab of numeric value (%s) [gn14]", show_text(call[i]).c_str());
        return false;
    }
    if (!one_tab(call, i + 1, plot, plot.title)) return false;
    if (plot.x.size() != plot.curves.front().y.size())
        post("Warning: @gnuplot: data tab of unequal length [gn12]");
    return true;
}

// The form of "@plot": a tab of names and values, and the kind of date.
bool named_values(const LibraryCall& call, Plot& plot) {
    const tab_t& pairs = tab_of(call[0]);
    for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
        Curve c{pairs[i]->get_string(), {}};
        if (pairs[i + 1]->is_tab() && numbers_of(pairs[i + 1], c.y) && !c.y.empty())
            plot.curves.push_back(std::move(c));
        else if (pairs[i + 1]->is_numeric())
            plot.curves.push_back({c.title, {pairs[i + 1]->get_double()}});
    }
    if (!plot.curves.empty()) return true;
    error("@gnuplot: no data to plot [gn11]");
    return false;
}

// Several tabs: the first gives x, each other one curve.
bool mplot(const LibraryCall& call, Plot& plot) {
    for (std::size_t i = 0; i < call.args.size(); ++i) {
        if (!call[i].is_tab()) {
            error("@gnuplot: bad argument %d: not a tab (got %s) [gn17]", static_cast<int>(i + 1),
                  call[i].kind_name());
            return false;
        }
        if (tab_of(call[i]).empty()) {
            error("@gnuplot: arg %d is an empty tab [gn19]", static_cast<int>(i + 1));
            return false;
        }
    }
    const tab_t& x = tab_of(call[0]);
    for (std::size_t i = 1; i < call.args.size(); ++i) {
        const tab_t& y = tab_of(call[i]);
        if (y.size() != x.size()) {
            error("@gnuplot: length of arg %d and %d differs (%d and %d) [gn20]", 1, static_cast<int>(i + 1),
                  static_cast<int>(x.size()), static_cast<int>(y.size()));
            return false;
        }
        for (std::size_t k = 0; k < x.size(); ++k)
            if (!x[k]->is_numeric() || !y[k]->is_numeric()) {
                error("@gnuplot: bad argument: non numeric element (arg %d and %d, element %d: %s and %s) "
                      "[gn21]",
                      1, static_cast<int>(i + 1), static_cast<int>(k), show_text(x[k]).c_str(),
                      show_text(y[k]).c_str());
                return false;
            }
    }
    plot.against_index = false;
    numbers_of(call[0], plot.x);
    for (std::size_t i = 1; i < call.args.size(); ++i) {
        plot.curves.push_back({"arg " + std::to_string(i + 1), {}});
        numbers_of(call[i], plot.curves.back().y);
    }
    return true;
}

bool read_plot(const LibraryCall& call, Plot& plot) {
    switch (call.count()) {
    case 1:
        if (call[0].is_tab()) return one_tab(call, 0, plot, plot.title);
        error("@gnuplot with one argument: must be a tab, got a %s [gn3]", call[0].kind_name());
        return false;
    case 2:
        if (call[0].is_tab() && call[1].is_bool()) return named_values(call, plot);
        if (call[0].is_string() && call[1].is_tab()) {
            plot.title = call[0].get_string();
            return one_tab(call, 1, plot, plot.title);
        }
        if (call[0].is_tab() && call[1].is_tab()) return x_and_y(call, 0, plot);
        error("@gnuplot with two arguments: must be (string, tab) or (tab, tab) [gn4]");
        return false;
    case 3:
        if (call[0].is_string() && call[1].is_tab() && call[2].is_tab()) {
            plot.title = call[0].get_string();
            return x_and_y(call, 1, plot);
        }
        if (call[0].is_tab()) return mplot(call, plot);
        error("@gnuplot with 3 arguments: must be (string, tab, tab) [gn4a]");
        return false;
    default:
        return mplot(call, plot);
    }
}

// One row per index; a curve shorter than the others leaves its cell empty
// (written "?", which gnuplot skips).
bool write_data(const std::string& path, const Plot& plot) {
    std::ofstream out(path);
    if (!out) return false;
    out.precision(17);
    std::size_t rows = plot.x.size();
    for (const Curve& c : plot.curves)
        rows = std::max(rows, c.y.size());
    for (std::size_t r = 0; r < rows; ++r) {
        if (!plot.against_index) {
            if (r >= plot.x.size()) continue;
            out << plot.x[r] << ' ';
        }
        for (const Curve& c : plot.curves)
            if (r < c.y.size())
                out << c.y[r] << ' ';
            else
                out << "? ";
        out << '\n';
    }
    return static_cast<bool>(out);
}

std::string quoted(const std::string& s) {
    std::string out = "\"";
    for (const char c : s)
        out += (c == '"' || c == '\\') ? std::string("\\") + c : std::string(1, c);
    return out + "\"";
}

bool write_script(const std::string& path, const std::string& data, const std::string& png,
                  const Plot& plot) {
    std::ofstream out(path);
    if (!out) return false;
    if (!png.empty()) out << "set terminal png size 800,600\nset output " << quoted(png) << "\n";
    out << "set title " << quoted(plot.title) << "\nset datafile missing '?'\nplot ";
    for (std::size_t i = 0; i < plot.curves.size(); ++i) {
        out << (i == 0 ? "'" + data + "'" : ", ''");
        if (plot.against_index)
            out << "  using 0:" << i + 1;
        else
            out << " using 1:" << i + 2;
        out << " with linespoints title " << quoted(plot.curves[i].title);
    }
    out << "\n";
    return static_cast<bool>(out);
}

// Beside the score when it is known, else in the working directory.
std::string png_path(const std::string& score, std::size_t n) {
    namespace fs = std::filesystem;
    const fs::path base = score.empty() ? fs::path("cadenzium") : fs::path(score);
    const fs::path dir = score.empty() ? fs::current_path() : base.parent_path();
    return (dir / (base.stem().string() + "_plot" + std::to_string(n) + ".png")).string();
}

void run_plot(const Plot& plot, std::size_t n, const std::string& png) {
    const std::string data = "/tmp/tmp.cadenzium.data." + std::to_string(n);
    const std::string script = "/tmp/tmp.cadenzium.gnuplot." + std::to_string(n);
    if (!write_data(data, plot))
        return error("@gnuplot: unable to open temporary file `%s' [gn1]", data.c_str());
    if (!write_script(script, data, png, plot))
        return error("@gnuplot: unable to open temporary file `%s' [gn2]", script.c_str());
    const std::string command = "gnuplot -persist " + script + " 2>&1";
    const int status = std::system(command.c_str());
    if (status != 0) {
        error("@gnuplot: unable to launch gnuplot (return code %d) [gn6]", status);
        error("@gnuplot: command line was '%s'", command.c_str());
        return;
    }
    if (png.empty()) return; // a window may read its data again: the files stay
    post("@gnuplot: plot written to %s", png.c_str());
    std::remove(data.c_str());
    std::remove(script.c_str());
}

Value gnuplot(const LibraryCall& call) {
    Plot plot;
    if (call.count() == 0) {
        error("@gnuplot: no data to plot [gn11]");
        return undef_value();
    }
    if (!read_plot(call, plot)) return undef_value();
    LibraryState& lib = library_of(call.env);
    const std::size_t n = ++lib.plot_count;
    const char* display = std::getenv("DISPLAY");
    const std::string png =
        display && *display ? "" : png_path(call.env.ctx ? call.env.ctx->score_filename() : "", n);
    lib.jobs.run([plot = std::move(plot), n, png] { run_plot(plot, n, png); });
    return bool_value(true);
}

} // namespace

void install_gnuplot(GlobalEnvironment& env) {
    (new LibraryFunction("@gnuplot", 0, gnuplot, &env, false))->up_to(-1);
}
