#include "Listening/StateChain.hpp"

void delete_state_chain(StateChain* chain) { (void)chain; }
