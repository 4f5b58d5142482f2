// The README's reference list of the predefined functions is generated from
// the registry of a fresh engine: this test fails when they differ, and
// rewrites the list when CAD_UPDATE_GOLDEN=1.
#include "Exp/Environment.hpp"
#include "Exp/Function.hpp"
#include "FunctionRig.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

const std::string kBegin = "<!-- function-reference:begin -->\n";
const std::string kEnd = "<!-- function-reference:end -->";

std::string arguments(const FunctionDefinition& f) {
    const int least = f.nb_arg(), most = f.most_args();
    if (most < 0) return least == 0 ? "any" : std::to_string(least) + " or more";
    if (most == least) return std::to_string(least);
    if (most == least + 1) return std::to_string(least) + " or " + std::to_string(most);
    return std::to_string(least) + " to " + std::to_string(most);
}

std::string generated_list(GlobalEnvironment& env) {
    std::vector<FunctionDefinition*> all = env.registered_functions();
    std::sort(all.begin(), all.end(), [](auto* a, auto* b) { return a->name < b->name; });
    std::ostringstream out;
    out << "| Function | Arguments | Pure |\n|---|---|---|\n";
    for (const FunctionDefinition* f : all)
        out << "| `" << f->name << "` | " << arguments(*f) << " | " << (f->is_pure ? "yes" : "") << " |\n";
    return out.str();
}

TEST(ReferenceList, TheReadmeListsEveryPredefinedFunctionWithItsArity) {
    FunctionRig rig;
    const std::string list = generated_list(rig.env());
    const std::string path = std::string(CAD_SOURCE_DIR) + "/README.md";
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    std::string readme = text.str();
    const std::size_t begin = readme.find(kBegin), end = readme.find(kEnd);
    ASSERT_NE(begin, std::string::npos) << "no reference list in " << path;
    ASSERT_NE(end, std::string::npos);
    const std::size_t from = begin + kBegin.size();
    if (std::getenv("CAD_UPDATE_GOLDEN")) {
        readme.replace(from, end - from, list);
        std::ofstream(path) << readme;
        return;
    }
    EXPECT_EQ(readme.substr(from, end - from), list)
        << "run the test with CAD_UPDATE_GOLDEN=1 to rewrite the list";
}

} // namespace
