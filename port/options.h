#pragma once

#include <optional>
#include <string>

namespace sonic::port {

/// What the command line says.
struct Options {
  std::string device;
  std::string link;  ///< empty: none
  bool trace = false;
};

/// Nothing when help or version was asked for and has been printed. Throws UsageError.
std::optional<Options> parse_options(int argc, char* const argv[]);

}  // namespace sonic::port
