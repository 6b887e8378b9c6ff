#pragma once

#include <string>

namespace sonic::port {

struct Options {
  std::string device;
  std::string link;  // empty: none
  bool trace = false;
  bool help = false;
};

/// Throws std::invalid_argument with a message for the user.
Options parse_options(int argc, char* const argv[]);

extern const char* const HELP_TEXT;

}  // namespace sonic::port
