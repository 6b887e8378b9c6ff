#include "tools/half_hours/grid.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "base/time.h"

namespace sonic::records {

namespace {

constexpr size_t LOOK_AHEAD_SECONDS = 2;
// How much later or earlier a record is than the one before it, in intervals.
constexpr double LOST = 0.75;     // at least one is lost
constexpr double CROWDED = 0.25;  // no clock gains so much at once
// How far a record may be from its slot, in intervals, before the clocks are brought together.
constexpr double MAX_EARLY_INTERVALS = -0.5;
constexpr double MAX_LATE_INTERVALS = 1.5;
// How much a record may add to the delay of those before it, in intervals: more than a clock loses,
// less than a record is late by itself.
constexpr double MAX_DRIFT_INTERVALS = 0.002;

uint16_t usual_rate(const std::vector<Sample>& samples) {
  std::map<uint16_t, size_t> counts;
  for (const Sample& sample : samples) ++counts[sample.rate];
  const auto fewer = [](const auto& a, const auto& b) { return a.second < b.second; };
  return counts.empty() ? uint16_t{0}
                        : std::max_element(counts.begin(), counts.end(), fewer)->first;
}

// Assigns the slots of one period.
class Placement {
 public:
  Placement(Grid& grid, const std::vector<double>& places) : _grid(grid), _places(places) {}

  // The slot of the record with this number among those of the rate, if it has one.
  std::optional<size_t> place(size_t i) {
    const double on_time = without_delay(i);
    if (i == 0) {
      const double first = std::max(on_time, 0.0);
      _slot = static_cast<size_t>(first);
      _offset = first - std::floor(first);
      return taken();
    }
    double offset = on_time - static_cast<double>(_slot);
    if (offset < _offset - CROWDED) {
      // More records follow than the rate makes, so these say nothing about this one's delay.
      offset = std::min(_places[i] - static_cast<double>(_slot), _offset);
      if (offset < _offset - LOST) return {};
    }
    if (offset - _offset >= LOST) skip(offset, std::round(offset - _offset));
    if (offset >= MAX_LATE_INTERVALS) skip(offset, 1);
    if (offset < MAX_EARLY_INTERVALS) {
      _offset = offset + 1;
      return {};
    }
    // A delay of its own does not count: the loss of the next record has to stand out from it.
    _offset = std::min(offset, _offset + MAX_DRIFT_INTERVALS);
    return taken();
  }

 private:
  // Where the record would be if its stamp were not late.
  double without_delay(size_t i) const {
    const size_t end = std::min(_places.size(), i + LOOK_AHEAD_SECONDS * _grid.rate);
    double earliest = _places[i];
    for (size_t j = i + 1; j < end; ++j) {
      earliest = std::min(earliest, _places[j] - static_cast<double>(j - i));
    }
    return earliest;
  }

  void skip(double& offset, double slots) {
    _slot += static_cast<size_t>(slots);
    offset -= slots;
  }

  std::optional<size_t> taken() {
    if (_slot >= _grid.slots.size()) return {};
    return _slot++;
  }

  const Grid& _grid;
  const std::vector<double>& _places;
  size_t _slot = 0;    // the next one
  double _offset = 0;  // of the records before from their slots without delays, in intervals
};

}  // namespace

Grid grid_of(const std::vector<Sample>& samples, uint64_t start, uint64_t length) {
  Grid grid;
  grid.rate = usual_rate(samples);
  const double slots = static_cast<double>(length) * grid.rate / NANOSECONDS_PER_SECOND;
  grid.slots.resize(static_cast<size_t>(slots));
  std::vector<uint32_t> numbers;
  std::vector<double> places;  // in intervals since the start
  for (uint32_t i = 0; i < samples.size(); ++i) {
    if (samples[i].rate != grid.rate || grid.rate == 0) {
      grid.left_out.push_back(i);
      continue;
    }
    numbers.push_back(i);
    const auto since = static_cast<double>(samples[i].time - start);
    places.push_back(since * grid.rate / NANOSECONDS_PER_SECOND);
  }
  Placement placement(grid, places);
  for (size_t i = 0; i < numbers.size(); ++i) {
    const auto slot = placement.place(i);
    if (slot) {
      grid.slots[*slot] = numbers[i];
    } else {
      grid.left_out.push_back(numbers[i]);
    }
  }
  std::sort(grid.left_out.begin(), grid.left_out.end());
  return grid;
}

}  // namespace sonic::records
