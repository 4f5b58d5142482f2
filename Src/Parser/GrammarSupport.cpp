#include "Parser/GrammarSupport.hpp"

#include "Parser/ParseDriver.hpp"
#include "RunTime/Console.hpp"

#include <sstream>

std::vector<Pitch*>* release_pitches(PitchList list) {
    auto* out = new std::vector<Pitch*>;
    out->reserve(list.size());
    for (PitchPtr& p : list) out->push_back(p.release());
    return out;
}

std::vector<std::vector<Pitch*>*>* release_trill(TrillList list) {
    auto* out = new std::vector<std::vector<Pitch*>*>;
    for (PitchList& element : list) out->push_back(release_pitches(std::move(element)));
    return out;
}

std::pair<std::vector<Pitch*>*, bool> release_element(MultiElement element) {
    return {release_pitches(std::move(element.first)), element.second};
}

std::vector<std::pair<std::vector<Pitch*>*, bool>>* release_multi(MultiList list) {
    auto* out = new std::vector<std::pair<std::vector<Pitch*>*, bool>>;
    for (MultiElement& element : list) out->push_back(release_element(std::move(element)));
    return out;
}

AttributeList* release_attributes(AttrVec list) {
    auto* out = new AttributeList;
    for (AttrPtr& a : list) out->push_back(a.release());
    return out;
}

PitchPtr named_pitch(ParseDriver& driver, const std::string& name, bool tied, const yy::location& loc) {
    const int errors = get_global_error_counter();
    PitchPtr pitch(Pitch::from_name(name, tied, loc));
    if (get_global_error_counter() != errors) driver.report_location(loc);
    return pitch;
}

void end_event(ParseDriver& driver) { driver.ignore_eol = true; }

std::string number_label(double value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

JumpSpec jump_to_labels(StringList labels) {
    JumpSpec spec;
    spec.labels = std::move(labels);
    return spec;
}

JumpSpec jump_to_variable(const std::string& variable) {
    JumpSpec spec;
    spec.variable = variable;
    return spec;
}
