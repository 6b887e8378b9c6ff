#pragma once

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "app/configuration.h"

namespace sonic {

/// Six texts an option: settings key, default, short option, long option, argument, help. Without
/// an argument it is a switch.
extern const std::vector<std::vector<std::string>> base_config_items;

/// Every option's key with its default.
config_map_t base_config();

/// The settings key of an argument and whether it takes a value; an empty key for an unknown one.
std::pair<std::string, bool> config_map_switch(std::string arg);

/// The defaults and over them what the command line sets, traced on standard output. Throws
/// std::runtime_error for an unknown option and for a missing value.
config_map_t command_line(int argc, const char** argv);

/// Writes the help text.
std::ostream& base_config_help(const std::string& program, std::ostream& out);

}  // namespace sonic
