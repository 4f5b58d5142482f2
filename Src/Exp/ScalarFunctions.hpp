// The predefined scalar functions, installed in a global environment when it
// is built.
#pragma once

class GlobalEnvironment;

void install_scalar_functions(GlobalEnvironment& env);
