#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

namespace sonic {

/// Throws "WHAT: " and the text of `errno`.
[[noreturn]] inline void fail(std::string_view what, std::string_view more = "") {
  const int error = errno;  // first: making a text may change it
  throw std::runtime_error(std::string(what).append(more) + ": " + std::strerror(error));
}

}  // namespace sonic
