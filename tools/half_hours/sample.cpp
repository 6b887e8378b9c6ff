#include "tools/half_hours/sample.h"

#include <algorithm>

namespace sonic::records {

namespace {

constexpr Quantity TEXT_ORDER[] = {U, V, W, SOS, TS};

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Takes a number and the tab after it from the beginning of `text`.
std::optional<int32_t> take_value(std::string_view& text) {
  const char* p = text.data();
  const bool is_negative = *p == '-';
  if (is_negative) ++p;
  int32_t value = 0;
  for (; is_digit(*p); ++p) {
    value = value * 10 + (*p - '0');
    if (value >= MAX_VALUE_UNITS) return {};
  }
  ++p;  // the point
  for (int32_t parts = 1; parts < PARTS_PER_UNIT; parts *= 10) {
    value = value * 10 + (is_digit(*p) ? *p++ - '0' : 0);
  }
  if (is_digit(*p) && *p >= '5') ++value;
  while (is_digit(*p)) ++p;
  text.remove_prefix(static_cast<size_t>(p + 1 - text.data()));
  return is_negative ? -value : value;
}

}  // namespace

std::optional<Values> parse_values(std::string_view text) {
  Values values;
  for (const Quantity quantity : TEXT_ORDER) {
    const auto value = take_value(text);
    if (!value) return {};
    values[quantity] = *value;
  }
  return values;
}

void put_in_order(std::vector<Sample>& samples) {
  if (!std::is_sorted(samples.begin(), samples.end())) std::sort(samples.begin(), samples.end());
  samples.erase(std::unique(samples.begin(), samples.end()), samples.end());
}

}  // namespace sonic::records
