#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace sonic {

/// The parts of `message` and, after them, the system's text for `error`. Give `errno` itself and
/// the parts as they are: making a text, as "+" does, may change errno before it is taken.
std::string error_text(int error, std::initializer_list<std::string_view> message);

/// Throws that text as a std::runtime_error.
[[noreturn]] void throw_error(int error, std::initializer_list<std::string_view> message);

}  // namespace sonic
