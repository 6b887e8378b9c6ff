#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tools/half_hours/sample.h"

namespace sonic::records {

/// The records of a period at the evenly spaced times of their rate.
struct Grid {
  uint16_t rate = 0;  ///< records a second; 0 where it is not known, and then there are no slots
  /// A slot for each time, with the number of its record, or nothing where there is none.
  std::vector<std::optional<uint32_t>> slots;
  std::vector<uint32_t> left_out;  ///< numbers of the records that fit no slot
};

/// Of records in the order of time, none twice, in a period from `start`, of `length` nanoseconds.
///
/// Stamps are late now and then, and the instrument's clock is not the logger's. So a record is
/// lost where it and those of the next two seconds are all later by its interval. Where one clock
/// gains a record on the other in the course of time, one slot stays empty or one record is left
/// out. Left out are also records of another rate than most, and those that were repeated after a
/// clock was set back.
Grid grid_of(const std::vector<Sample>& samples, uint64_t start, uint64_t length);

}  // namespace sonic::records
