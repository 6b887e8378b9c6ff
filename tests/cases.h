#pragma once

#include <functional>
#include <iostream>
#include <map>
#include <string>

#include "serial/serial.h"

namespace sonic {

/// What a case may call: `argument` is what stands after the name.
using Call = std::function<void(Serial& port, const std::string& argument, bool verbose)>;
using Calls = std::map<std::string, Call>;

/// Shows what a call returns.
template <typename Value>
void print(const Value& value) {
  std::cout << "= '" << value << "'" << std::endl;
}

/// Plays the cases of a file in tests/cases, whose README.md tells how one is written. Each that is
/// seen otherwise than it says is a failure of the test.
void play(const std::string& file, const Calls& calls);

}  // namespace sonic
