#pragma once

#include <string>

namespace sonic::bench {

/// What the wrapped calls read, over and over. The port is always ready, the data file is the null
/// device, writes and publishes succeed without doing anything.
extern std::string port_input;

}  // namespace sonic::bench
