#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <tuple>
#include <vector>

namespace sonic::records {

/// What a record measures. The four that have covariances are first.
enum Quantity { U, V, W, TS, SOS };
inline constexpr size_t QUANTITIES = 5;
inline constexpr size_t COVARIANT = 4;

/// Values are whole numbers of this part of a unit (m/s, °C). So their sums and the sums of their
/// products are exact, and do not depend on the order of the records.
inline constexpr int32_t PARTS_PER_UNIT = 10000;
inline constexpr int32_t MAX_VALUE_UNITS = 100000;

using Values = std::array<int32_t, QUANTITIES>;
/// Of a record with values that no instrument measures. Its diag is not 0.
inline constexpr Values NO_VALUES = {INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN};

/// A record's values from its text, which has u, v, w, sos and ts with a tab after each: taken to
/// four digits after the point, halves away from zero. Nothing where one of them is not below
/// MAX_VALUE_UNITS. The text must have the form that parse_data_line() asks for.
std::optional<Values> parse_values(std::string_view text);

/// A record of one instrument.
struct Sample {
  uint64_t time = 0;  ///< nanoseconds since 1970
  Values values = {};
  uint16_t rate = 0;  ///< records a second that the instrument was set to; 0: not known
  uint16_t diag = 0;  ///< 0 if the instrument found no fault, else the values may be anything
};

/// In the order of time, and of all else where that is equal. Neither is below the other if they
/// are one record that was read twice.
inline bool operator<(const Sample& a, const Sample& b) {
  return std::tie(a.time, a.values, a.diag) < std::tie(b.time, b.values, b.diag);
}

/// Leaves each record once, in the order of time. Those of one time stay in the order in which they
/// arrived.
void put_in_order(std::vector<Sample>& samples);

}  // namespace sonic::records
