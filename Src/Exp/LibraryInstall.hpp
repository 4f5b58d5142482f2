// The installation of the predefined functions in a global environment,
// family by family. `install_predefined_function` installs them all; the
// environment calls it when it is built.
#pragma once

class GlobalEnvironment;

void install_predefined_function(GlobalEnvironment* env);

void install_scalar_functions(GlobalEnvironment& env);
void install_kind_functions(GlobalEnvironment& env);
void install_tracing_functions(GlobalEnvironment& env);
void install_predefined_tab_function(GlobalEnvironment& env);
void install_tab_search_functions(GlobalEnvironment& env);
void install_tab_order_functions(GlobalEnvironment& env);
void install_tab_shape_functions(GlobalEnvironment& env);
void install_predefined_map_function(GlobalEnvironment& env);
void install_imap_functions(GlobalEnvironment& env);
void install_predefined_random_function(GlobalEnvironment& env);
void install_system_function(GlobalEnvironment& env);
void install_gnuplot(GlobalEnvironment& env);
