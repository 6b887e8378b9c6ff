#pragma once

#include <cstdint>
#include <string>

namespace sonic::records {

/// Digits after the point of what also decides something by being printed as zero, or as a limit.
inline constexpr int VELOCITY_DIGITS = 4;
inline constexpr int FLUX_DIGITS = 5;
inline constexpr int TEST_DIGITS = 1;

/// A number with this many digits after the point, 0 to 9. It is rounded to nine digits first and
/// then to `digits`, halves up, so that a value that ends in a 5 does not hang on the last bit of a
/// calculation. A zero has no sign. Numbers of 1e9 and more keep what digits a double has.
std::string fixed_text(double value, int digits);

/// Whether it is printed as zero.
bool is_zero(double value, int digits);

}  // namespace sonic::records
