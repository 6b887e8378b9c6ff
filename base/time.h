#pragma once

#include <chrono>
#include <cstdint>

namespace sonic {

inline constexpr uint64_t NANOSECONDS_PER_SECOND = 1'000'000'000;

/// A data file has the records of a half hour; they begin at multiples of this many seconds.
inline constexpr uint64_t SECONDS_PER_HALF_HOUR = 1800;

/// No record for more than this many intervals is a gap.
inline constexpr uint64_t GAP_INTERVALS = 5;

/// The rate that is assumed where no rate is known, to find gaps.
inline constexpr uint64_t FALLBACK_RATE_HZ = 1;

/// The system's clock, in nanoseconds since 1970.
inline uint64_t clock_ns() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<uint64_t>(std::chrono::nanoseconds(now).count());
}

}  // namespace sonic
