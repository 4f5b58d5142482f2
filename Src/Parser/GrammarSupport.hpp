// The semantic values of the grammar and small helpers of its actions, kept
// out of the grammar file. Values own what they hold, so a syntax error in
// the middle of a rule leaks nothing; the builders of the score take plain
// pointers, released from these at the last moment.
#pragma once

#include "Tree/Attributes.hpp"
#include "Tree/Event.hpp"

#include <memory>
#include <string>
#include <utility>
#include <vector>

class ParseDriver;

using PitchPtr = std::unique_ptr<Pitch>;
using PitchList = std::vector<PitchPtr>;
using MultiElement = std::pair<PitchList, bool>;
using MultiList = std::vector<MultiElement>;
using TrillList = std::vector<PitchList>;
using AttrPtr = std::unique_ptr<Attribute>;
using AttrVec = std::vector<AttrPtr>;
using StringList = std::vector<std::string>;

std::vector<Pitch*>* release_pitches(PitchList list);
std::vector<std::vector<Pitch*>*>* release_trill(TrillList list);
std::pair<std::vector<Pitch*>*, bool> release_element(MultiElement element);
std::vector<std::pair<std::vector<Pitch*>*, bool>>* release_multi(MultiList list);
AttributeList* release_attributes(AttrVec list);

// A pitch written as a name; a bad name is reported with its place.
PitchPtr named_pitch(ParseDriver& driver, const std::string& name, bool tied, const yy::location& loc);

// Closes an event: line ends are white space again.
void end_event(ParseDriver& driver);

// The text of a numeric label, as a stream prints it.
std::string number_label(double value);

JumpSpec jump_to_labels(StringList labels);
JumpSpec jump_to_variable(const std::string& variable);
