#include "PdArguments.hpp"

#include "Base/Console.hpp"

namespace {

bool starts_section(const t_atom& a) {
    return a.a_type == A_SYMBOL && a.a_w.w_symbol->s_name[0] == '@';
}

// The names after a section word, up to the next word that starts with "@".
std::vector<std::string> read_names(int argc, const t_atom* argv, int& i, const char* what) {
    std::vector<std::string> names;
    for (; i < argc && !starts_section(argv[i]); ++i) {
        if (argv[i].a_type != A_SYMBOL) {
            error("Cannot handle cadenzium~ %s argument number %d: not a symbol", what, i);
            continue;
        }
        names.emplace_back(argv[i].a_w.w_symbol->s_name);
    }
    return names;
}

} // namespace

bool is_audio_inlet(const std::string& kind) {
    return kind == "AUDIO" || kind == "KL";
}

BoxArguments read_box_arguments(int argc, const t_atom* argv) {
    BoxArguments box;
    bool outlets_seen = false;
    for (int i = 0; i < argc;) {
        if (argv[i].a_type != A_SYMBOL) {
            error("Cannot handle cadenzium~ argument number %d: not a symbol", i);
            ++i;
            continue;
        }
        const std::string word = argv[i++].a_w.w_symbol->s_name;
        if (word == "@INLET") {
            box.inlets = read_names(argc, argv, i, "inlet");
        } else if (word == "@OUTLET") {
            std::vector<std::string> names = read_names(argc, argv, i, "outlet");
            if (outlets_seen) post("Multiple @outlets sections in argument list: ignore");
            if (!outlets_seen) box.outlets = std::move(names);
            outlets_seen = true;
        } else if (word.size() > 1 && word[0] == '@') {
            BoxAttribute a{word.substr(1), {}};
            for (; i < argc && !starts_section(argv[i]); ++i)
                a.values.push_back(argv[i]);
            box.attributes.push_back(std::move(a));
        } else {
            error("Cadenzium~: Argument %s not supported!", word.c_str());
        }
    }
    return box;
}
