#include "tools/half_hours/spikes.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace sonic::records {

namespace {

constexpr size_t MAX_SPIKE_RECORDS = 3;  // in a row
// Medians are counted in halves of a part, and those of distances from them in quarters.
constexpr int64_t MIN_TWICE_MAD = 4 * PARTS_PER_UNIT / 100;
constexpr int64_t FACTOR = 70000;  // 7 / 0.6745, as a fraction of whole numbers
constexpr int64_t FACTOR_DIVISOR = 6745;
constexpr size_t BINS = 4096;

// Twice the median, which is a whole number even if it is the mean of two. The numbers are counted
// in bins first, so that only the few in the middle have to be put in order: four times as fast.
int64_t twice_median(const std::vector<uint32_t>& numbers) {
  const uint32_t highest = *std::max_element(numbers.begin(), numbers.end());
  unsigned int shift = 0;
  while (highest >> shift >= BINS) ++shift;
  size_t counts[BINS] = {};
  for (const uint32_t number : numbers) ++counts[number >> shift];

  const size_t lower = (numbers.size() - 1) / 2;
  const size_t upper = numbers.size() / 2;
  size_t first = 0;
  size_t below = 0;  // how many are in the bins before
  while (below + counts[first] <= lower) below += counts[first++];
  size_t last = first;
  for (size_t end = below + counts[first]; end <= upper; end += counts[last]) ++last;
  const auto lowest = static_cast<uint32_t>(first << shift);
  const auto width = static_cast<uint32_t>(((last - first + 1) << shift) - 1);
  std::vector<uint32_t> middle;
  for (const uint32_t number : numbers) {
    if (number - lowest <= width) middle.push_back(number);
  }
  const auto at = middle.begin() + static_cast<std::ptrdiff_t>(lower - below);
  std::nth_element(middle.begin(), at, middle.end());
  return int64_t{*at} + (lower == upper ? *at : *std::min_element(at + 1, middle.end()));
}

// Marks the spikes of one quantity.
void mark_spikes(const std::vector<int32_t>& column, std::vector<bool>& is_spike) {
  const int32_t lowest = *std::min_element(column.begin(), column.end());
  std::vector<uint32_t> numbers(column.size());
  std::transform(column.begin(), column.end(), numbers.begin(), [lowest](int32_t value) {
    return static_cast<uint32_t>(int64_t{value} - lowest);
  });
  const int64_t median = twice_median(numbers);
  for (uint32_t& number : numbers) {  // becomes twice its distance
    number = static_cast<uint32_t>(std::abs(2 * int64_t{number} - median));
  }
  const int64_t mad = std::max(twice_median(numbers), MIN_TWICE_MAD);
  // Of whole numbers, so that no last bit decides.
  const int64_t limit = FACTOR * mad / (2 * FACTOR_DIVISOR);
  size_t far = 0;  // records in a row
  for (size_t i = 0; i <= numbers.size(); ++i) {
    if (i < numbers.size() && numbers[i] > limit) {
      ++far;
      continue;
    }
    if (far <= MAX_SPIKE_RECORDS) {
      for (; far > 0; --far) is_spike[i - far] = true;
    }
    far = 0;
  }
}

}  // namespace

std::vector<bool> find_spikes(const Series& series) {
  std::vector<bool> is_spike(series.size());
  if (series.size() == 0) return is_spike;
  for (const Quantity quantity : {U, V, W, TS}) mark_spikes(series.values[quantity], is_spike);
  return is_spike;
}

}  // namespace sonic::records
