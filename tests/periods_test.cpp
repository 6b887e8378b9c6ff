// Which records belong together: those of a period, wherever they stand, and their places on an
// evenly spaced grid.

#include "tools/half_hours/periods.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>

#include "support.h"
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

/// Files as texts of digits, each a record in that minute.
class Files {
 public:
  explicit Files(std::vector<std::string> files) : _files(std::move(files)) {}

  /// What comes of them, as "MINUTE:RECORDS" in the order of the minutes, then what was missed.
  std::string collected(bool can_read_again) {
    std::map<uint64_t, size_t> periods;
    PeriodCollector collector(MINUTE, [&](uint64_t start, const std::vector<Sample>& samples) {
      periods[start / MINUTE] = samples.size();
    });
    for (uint32_t i = 0; i < _files.size(); ++i) {
      read(i, [&](const Sample& sample) { collector.take(i, sample); });
    }
    const uint64_t missed = collector.finish([&](uint32_t file, const auto& take) {
      if (can_read_again) read(file, take);
      return can_read_again;
    });
    std::string text;
    for (const auto& [minute, records] : periods) {
      text += std::to_string(minute) + ":" + std::to_string(records) + " ";
    }
    return text + "missed " + std::to_string(missed) + ", read " + std::to_string(_read);
  }

 private:
  void read(uint32_t file, const PeriodCollector::Take& take) {
    ++_read;
    for (const char digit : _files[file]) take(at(static_cast<uint64_t>(digit - '0') * MINUTE));
  }

  const std::vector<std::string> _files;
  size_t _read = 0;
};

/// The slots of ten seconds at 4 Hz: the numbers of their records, "-" for none, then what is left
/// out; empty slots at the end are not shown.
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

/// Records at 4 Hz with their times in intervals.
std::vector<Sample> at_intervals(const std::vector<double>& times) {
  std::vector<Sample> samples(times.size());
  std::transform(times.begin(), times.end(), samples.begin(), [](double time) {
    return at(MINUTE + static_cast<uint64_t>(std::llround(time * NS / 4)));
  });
  return samples;
}

}  // namespace

TEST(PeriodsTest, BringsTheRecordsOfAPeriodTogether) {
  struct {
    const char* what;
    std::vector<std::string> files;
    const char* again;
    const char* once;
  } cases[] = {
      {"one after the other",
       {"111222", "2233"},
       "1:3 2:5 3:2 missed 0, read 2",
       "1:3 2:5 3:2 missed 0, read 2"},
      {"the clock was set back over a limit",
       {"1112122233"},
       "1:4 2:4 3:2 missed 0, read 2",
       "1:3 2:1 3:2 missed 4, read 1"},
      {"files that overlap",
       {"1122", "22233", "2"},
       "1:2 2:6 3:2 missed 0, read 6",
       "1:2 2:5 3:2 missed 1, read 3"},
      {"only files with such records",
       {"1", "12", "3", "2"},
       "1:2 2:2 3:1 missed 0, read 6",
       "1:2 2:1 3:1 missed 1, read 4"},
      {"no file", {}, "missed 0, read 0", "missed 0, read 0"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.again, Files(c.files).collected(true)) << c.what;
    EXPECT_EQ(c.once, Files(c.files).collected(false)) << c.what << ", from pipes";
  }
}

TEST(PeriodsTest, RefusesMoreRecordsThanAnInstrumentSends) {
  PeriodCollector collector(MINUTE, [](uint64_t, const std::vector<Sample>&) {});
  EXPECT_EQ("more than 4000000 records in one period; are the files those of one instrument?",
            thrown_by([&] {
              for (int i = 0; i <= 4000000; ++i) collector.take(0, at(static_cast<uint64_t>(i)));
            }));
}

// As they come out of a queue.
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
