#include "tools/half_hours/sample.h"

#include <algorithm>
#include <set>

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
  const auto is_earlier = [](const Sample& a, const Sample& b) { return a.time < b.time; };
  if (!std::is_sorted(samples.begin(), samples.end(), is_earlier)) {
    std::stable_sort(samples.begin(), samples.end(), is_earlier);
  }
  const auto is_at_one_time = [](const Sample& a, const Sample& b) { return a.time == b.time; };
  const auto first = std::adjacent_find(samples.begin(), samples.end(), is_at_one_time);
  std::set<Sample> at_one_time;
  const auto is_there_already = [&](const Sample& sample) {
    if (!at_one_time.empty() && at_one_time.begin()->time != sample.time) at_one_time.clear();
    return !at_one_time.insert(sample).second;
  };
  samples.erase(std::remove_if(first, samples.end(), is_there_already), samples.end());
}

}  // namespace sonic::records
