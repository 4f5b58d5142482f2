// The names a patch receives messages on: those of its [receive] objects
// ([r] too), in the patch, its subpatches and the abstractions within it.
#pragma once

#include "PdApi.hpp"

#include <string>
#include <vector>

// Walks the whole patch that `canvas` belongs to, from its top.
std::vector<std::string> patch_receivers(_glist* canvas);
