#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/time.h"
#include "tools/files/data_line_parser.h"

namespace sonic {

/// Since 1970.
inline uint64_t nanoseconds_of(const DataLine& record) {
  return record.seconds * NANOSECONDS_PER_SECOND + record.nanoseconds;
}

/// A time that a user wrote, in nanoseconds since 1970: seconds since then (1700001000,
/// 1700001000.5) or ISO 8601 in UTC, as short as a day (2023-11-14, 2023-11-14T22:30, 2023-11-14
/// 22:30:00.25Z). Nothing when it is neither or not before END_OF_TIME_SECONDS.
std::optional<uint64_t> parse_time(std::string_view text);

/// ISO 8601 with nine digits, "2023-11-14T22:30:00.031250000Z". The seconds' text is cached from
/// call to call, since many records share it; so is the text that is returned.
class IsoTime {
 public:
  std::string_view text(uint64_t seconds, uint32_t nanoseconds);

 private:
  char _text[sizeof("2023-11-14T22:30:00.031250000Z")] = {};
  uint64_t _seconds = UINT64_MAX;
};

/// The same for a single time in nanoseconds since 1970.
std::string iso_text(uint64_t nanoseconds);

/// Whole seconds since 1970: "2023-11-14T22:30:00Z".
std::string iso_seconds_text(uint64_t seconds);

/// Seconds with nine digits after the point: "0.031250000".
std::string seconds_text(uint64_t nanoseconds);

}  // namespace sonic
