// Which records belong together: those of a period, wherever they are, and their places on an
// evenly spaced grid.

#include "tools/half_hours/periods.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "tests/support.h"
#include "tools/half_hours/grid.h"

namespace sonic::records {

namespace {

constexpr uint64_t NS = 1'000'000'000;
constexpr uint64_t MINUTE = 60 * NS;

Sample at(uint64_t time, int rate = 4) {
  Sample sample;
  sample.time = time;
  sample.rate = static_cast<uint16_t>(rate);
  return sample;
}

// The slots of ten seconds at 4 Hz: the numbers of their records, "-" for none, then what is left
// out; empty slots at the end are not shown.
std::string slots_of(const std::vector<Sample>& samples) {
  const Grid grid = grid_of(samples, MINUTE, 10 * NS);
  std::string text;
  std::string empty;
  for (const auto& slot : grid.slots) {
    empty += "- ";
    if (!slot) continue;
    empty.replace(empty.size() - 2, 2, std::to_string(*slot) + " ");
    text += std::exchange(empty, "");
  }
  text += "|";
  for (const uint32_t number : grid.left_out) text += " " + std::to_string(number);
  return text;
}

// Records at 4 Hz with their times in intervals.
std::vector<Sample> at_intervals(const std::vector<double>& times) {
  std::vector<Sample> samples(times.size());
  std::transform(times.begin(), times.end(), samples.begin(), [](double time) {
    return at(MINUTE + static_cast<uint64_t>(std::llround(time * NS / 4)));
  });
  return samples;
}

}  // namespace

TEST(PeriodsTest, RefusesMoreRecordsThanAnInstrumentSends) {
  PeriodCollector collector(MINUTE, [](uint64_t, const std::vector<Sample>&) {});
  EXPECT_EQ("more than 4000000 records in one period; are the files those of one instrument?",
            thrown_by([&] {
              for (int i = 0; i <= 4000000; ++i) collector.take(0, at(static_cast<uint64_t>(i)));
            }));
}

// As a queue delivers them.
TEST(PeriodsTest, KeepsTheOrderOfArrivalAtOneTime) {
  std::vector<Sample> samples;
  for (const auto& [time, u] : {std::pair{2, 5}, {1, 9}, {1, 3}, {1, 9}, {1, 1}, {2, 5}}) {
    samples.push_back(at(static_cast<uint64_t>(time)));
    samples.back().values[U] = u;
  }
  put_in_order(samples);
  std::string text;
  for (const Sample& sample : samples) {
    text += std::to_string(sample.time) + ":" + std::to_string(sample.values[U]) + " ";
  }
  EXPECT_EQ("1:9 1:3 1:1 2:5 ", text);
}

TEST(GridTest, FindsTheSlotsOfRecords) {
  struct {
    const char* what;
    std::vector<double> times;
    const char* slots;
  } cases[] = {
      {"between the grid's times", {.4, 1.4, 2.4, 3.4}, "0 1 2 3 |"},
      {"one lost", {0, 1, 3, 4}, "0 1 - 2 3 |"},
      {"one lost, off the grid's times", {.4, 1.4, 3.4, 4.4}, "0 1 - 2 3 |"},
      {"a stamp late", {0, 1, 2.9, 3, 4, 5}, "0 1 2 3 4 5 |"},
      {"four late together", {0, 4.8, 4.81, 4.82, 4.83, 5, 6, 7}, "0 1 2 3 4 5 6 7 |"},
      {"late and lost", {.1, 2.9, 3.1, 4.1, 5.1}, "0 - 1 2 3 4 |"},
      {"one lost after a late stamp", {0, 1, 2.4, 4, 5}, "0 1 2 - 3 4 |"},
      {"from the middle", {5.9, 6.9, 7.9}, "- - - - - 0 1 2 |"},
      {"a slow instrument", {.2, 1.4, 2.6, 3.8, 5, 6.2, 7.4, 8.6}, "0 1 2 3 - 4 5 6 7 |"},
      {"a fast one", {.2, 1, 1.8, 2.6, 3.4, 4.2, 5}, "0 1 2 3 5 6 | 4"},
      {"the clock was set back by 1.7",
       {0, 1, 2, 3, 4, 5, 6, 7, 8, 8.3, 9, 9.3, 10.3, 11.3},
       "0 1 2 3 4 5 6 7 8 10 12 13 | 9 11"},
      {"two in one place, then none", {0, 1, 1, 4}, "0 1 - - 3 | 2"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.slots, slots_of(at_intervals(c.times))) << c.what;
  }
  const Grid grid = grid_of(at_intervals({38.6, 39.6}), MINUTE, 10 * NS);
  ASSERT_EQ(40u, grid.slots.size());
  EXPECT_EQ(1u, grid.slots.back());
  EXPECT_TRUE(grid.left_out.empty());
}

TEST(GridTest, HasTheRateOfMostRecords) {
  auto samples = at_intervals({0, 1, 2, 3, 4, 5});
  samples[1].rate = samples[4].rate = 8;
  samples[5].rate = 0;
  EXPECT_EQ("0 - 2 3 | 1 4 5", slots_of(samples));
  for (Sample& sample : samples) sample.rate = 0;
  EXPECT_EQ("| 0 1 2 3 4 5", slots_of(samples));
  EXPECT_EQ("|", slots_of({}));
}

}  // namespace sonic::records
