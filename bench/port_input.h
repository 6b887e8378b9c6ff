#pragma once

#include <string>
#include <vector>

namespace sonic::bench {

/// Lines as the port delivers them at 32 Hz, without their ends, the same ones in every run.
std::vector<std::string> port_lines(size_t count);

}  // namespace sonic::bench
