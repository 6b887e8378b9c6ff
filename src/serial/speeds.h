#pragma once

#include <termios.h>

#include <algorithm>
#include <iterator>
#include <optional>

namespace sonic {

/// A speed in baud and by its name in the terminal interface.
struct LineSpeed {
  unsigned int baud;
  speed_t code;
};

/// All that a serial line can be set to.
inline constexpr LineSpeed LINE_SPEEDS[] = {
    {2400, B2400},   {4800, B4800},   {9600, B9600},     {19200, B19200},
    {38400, B38400}, {57600, B57600}, {115200, B115200}, {230400, B230400},
};

/// Nothing for a speed that is not in LINE_SPEEDS.
inline std::optional<speed_t> speed_code(unsigned int baud) {
  const auto found = std::find_if(std::begin(LINE_SPEEDS), std::end(LINE_SPEEDS),
                                  [baud](const LineSpeed& s) { return s.baud == baud; });
  if (found == std::end(LINE_SPEEDS)) return std::nullopt;
  return found->code;
}

/// 0 for a code that is not in LINE_SPEEDS.
inline unsigned int baud_of(speed_t code) {
  for (const LineSpeed& s : LINE_SPEEDS) {
    if (s.code == code) return s.baud;
  }
  return 0;
}

}  // namespace sonic
