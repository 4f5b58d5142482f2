// The score's messages delivered to the patch: each goes to the Pd
// receivers of its name (`gensym(name)->s_thing`), as Pd's own messages do.
#pragma once

#include "PdApi.hpp"

#include <string>
#include <variant>
#include <vector>

struct message;
namespace yy {
struct location;
}

// A message in plain data, which any thread may build and Pd's thread
// delivers: numbers, and texts (strings and symbols), tabs by their
// elements, other values as they print; the place of the action that sent
// it.
struct PdMessage {
    std::string receiver;
    std::vector<std::variant<double, std::string>> values;
    std::string place;
};

PdMessage plain_message(const message& m);

// "on line 3, chars 5-9", "from line 3 to line 5", "(at unknown location)".
std::string place_of(const yy::location* loc);

// Sends `m` to its receivers, on Pd's thread: a bang for no value, a
// float, a list, or a message whose selector is the first symbol. A name
// that no receiver has is reported with the place of the action.
void forward_to_receiver(const PdMessage& m);
