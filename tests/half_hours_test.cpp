// Statistics of half hours over records whose answers are known, at the limits of their rules. A
// session compares whole tables with an independent calculation.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "tests/support.h"
#include "tools/half_hours/columns.h"
#include "tools/half_hours/decimal.h"
#include "tools/half_hours/statistics.h"

namespace sonic::records {

namespace {

constexpr uint64_t NS = 1'000'000'000;
constexpr uint64_t START = 1700001000 * NS;
constexpr int RATE = 10;
constexpr int RECORDS = 1800 * RATE;

struct Wind {
  double u = 0, v = 0, w = 0, ts = 0;
};

int32_t parts(double value) { return static_cast<int32_t>(std::lround(value * PARTS_PER_UNIT)); }

Sample sample(uint64_t time, const Wind& wind) {
  Sample s;
  s.time = time;
  s.values = {parts(wind.u), parts(wind.v), parts(wind.w), parts(wind.ts), parts(343.2)};
  s.rate = RATE;
  return s;
}

// A record each tenth of a second.
std::vector<Sample> half_hour(const std::function<Wind(int)>& wind, int records = RECORDS) {
  std::vector<Sample> samples(static_cast<size_t>(records));
  for (int i = 0; i < records; ++i) {
    const auto number = static_cast<size_t>(i);
    samples[number] = sample(START + number * NS / RATE, wind(i));
  }
  return samples;
}

StatisticsOptions unrotated() {
  StatisticsOptions options;
  options.rotation = RotationMethod::NONE;
  return options;
}

// All cells, separated by spaces; "-" for an empty one.
std::string all_cells(std::vector<Sample> samples) {
  const Statistics row = statistics_of(samples, START, {});
  std::string text;
  for (const StatisticsColumn& column : STATISTICS_COLUMNS) {
    const double value = row.*column.value;
    text += (std::isnan(value) ? "-" : fixed_text(value, column.digits)) + " ";
  }
  return text;
}

double plus_or_minus(int i) { return i % 2 == 0 ? 1 : -1; }

}  // namespace

TEST(HalfHoursTest, DoesNotDependOnTheOrderOfRecords) {
  std::mt19937 random(1);
  const auto value = [&] { return static_cast<double>(random() % 2001) / 100 - 10; };
  auto samples = half_hour([&](int) { return Wind{value(), value(), value(), value()}; });
  samples[7].diag = samples[8].diag = 4;
  for (size_t i = 100; i < 300; i++) samples[i].time = samples[300].time;  // a queue read at once
  const std::string expected = all_cells(samples);
  std::shuffle(samples.begin(), samples.end(), random);
  EXPECT_EQ(expected, all_cells(samples));
  samples.insert(samples.end(), samples.begin(),
                 samples.begin() + 9000);  // a file that is there twice
  std::shuffle(samples.begin(), samples.end(), random);
  EXPECT_EQ(expected, all_cells(samples));
}

TEST(HalfHoursTest, TurnsTheAxesIntoTheMeanWind) {
  // Along the wind and up: 5 m/s with u'w' = -0.02, from any direction and off the vertical.
  const auto tilted = [](int i) {
    const double along = 5 + 0.2 * plus_or_minus(i);
    const double up = -0.1 * plus_or_minus(i);
    const double eta = 2.2;
    const double phi = 0.1;
    const double level = along * std::cos(phi) - up * std::sin(phi);
    return Wind{level * std::cos(eta), level * std::sin(eta),
                along * std::sin(phi) + up * std::cos(phi), 20 + 0.5 * plus_or_minus(i)};
  };
  auto samples = half_hour(tilted);
  const Statistics row = statistics_of(samples, START, {});
  EXPECT_NEAR(-0.02, row.uw, 2e-5);
  EXPECT_NEAR(-0.05, row.wt, 2e-5);

  // The same plane by a planar fit; north winds have none.
  StatisticsOptions planar;
  planar.rotation = RotationMethod::PLANAR;
  const double slope = std::tan(0.1);
  planar.planes = {{10, 90, 0, 0, 0}, {300, 20, 0, slope * std::cos(2.2), slope * std::sin(2.2)}};
  const Statistics fitted = statistics_of(samples, START, planar);
  EXPECT_NEAR(-0.02, fitted.uw, 2e-5);
  EXPECT_NEAR(-0.05, fitted.wt, 2e-5);
  planar.planes.pop_back();
  EXPECT_TRUE(std::isnan(statistics_of(samples, START, planar).uw));
  EXPECT_NEAR(5, statistics_of(samples, START, planar).speed, 1e-4);
}

TEST(HalfHoursTest, CountsSpikesAtKnownPlaces) {
  struct {
    const char* what;
    std::vector<int> at;  // ts is far from the median there
    double far;
    double spikes;
  } cases[] = {
      {"none", {}, 0, 0},
      {"at both ends and alone", {0, 500, RECORDS - 1}, 40, 3},
      {"three in a row", {10, 11, 12}, -30, 3},
      {"four in a row are a gust", {10, 11, 12, 13}, -30, 0},
      {"just within: 7 / 0.6745 of an MAD of 1", {9}, 10.37, 0},
      {"just outside", {9}, 10.38, 1},
  };
  for (const auto& c : cases) {
    auto samples = half_hour([&](int i) {
      const bool is_far = std::count(c.at.begin(), c.at.end(), i) != 0;
      return Wind{3, 0, 0, 20 + (is_far ? c.far : i % 3 - 1)};
    });
    StatisticsOptions options;
    EXPECT_EQ(c.spikes, statistics_of(samples, START, options).spikes) << c.what;
    options.despike = true;
    const Statistics row = statistics_of(samples, START, options);
    EXPECT_EQ(c.spikes, row.spikes) << c.what;
    EXPECT_EQ(RECORDS - c.spikes, row.records) << c.what;
    if (c.spikes != 0) {
      EXPECT_NEAR(std::sqrt(2.0 / 3), row.sd_ts, 1e-3) << c.what;
    }
  }
  // A calm, in which most values are the same.
  auto calm = half_hour([](int i) { return Wind{i % 9 == 0 ? 0.1 : 0, 0, i == 7 ? 0.11 : 0, 0}; });
  EXPECT_EQ(1, statistics_of(calm, START, {}).spikes);
}

TEST(HalfHoursTest, TellsWhetherAFluxIsStationary) {
  struct {
    const char* what;
    double step;  // of w and ts in the middle of the period, in half of their fluctuations
    double steady;
    double flag;
    int records = RECORDS;
  } cases[] = {
      {"no step", 0, 0, 0},
      {"half of the flux is the step", 1, 50, 1},
      {"29.9 %", std::sqrt(0.299 / 0.701), 29.9, 0},
      {"30 %", std::sqrt(0.3 / 0.7), 30, 1},
      {"nine tenths of the records", 0, 0, 0, RECORDS / 10 * 9},
      {"one record less", 0, 0, 2, RECORDS / 10 * 9 - 1},
  };
  for (const auto& c : cases) {
    auto samples = half_hour(
        [&](int i) {
          const double x = plus_or_minus(i) + c.step * (i < RECORDS / 2 ? -1 : 1);
          return Wind{3, 0, x, 20 + x};
        },
        c.records);
    const Statistics row = statistics_of(samples, START, unrotated());
    EXPECT_NEAR(c.steady, row.steady_wt, 0.05) << c.what;
    EXPECT_EQ(c.flag, row.flag_wt) << c.what;
    EXPECT_TRUE(std::isnan(row.steady_uw)) << c.what;
    EXPECT_EQ(2, row.flag_uw) << "no flux, no test: " << c.what;
  }
  // A part without a record.
  auto samples = half_hour([](int i) { return Wind{3, 0, plus_or_minus(i), plus_or_minus(i)}; });
  samples.erase(samples.begin() + 3000, samples.begin() + 6000);
  EXPECT_TRUE(std::isnan(statistics_of(samples, START, unrotated()).steady_wt));
}

TEST(HalfHoursTest, HasNoDirectionOf360AndNoneInACalm) {
  EXPECT_EQ(0, direction_of(0, 1));
  EXPECT_EQ(270, direction_of(-1, 0));
  auto west_of_north = half_hour([](int) { return Wind{-0.0001, 3, 0, 0}; }, 1);
  EXPECT_EQ("0.00", fixed_text(statistics_of(west_of_north, START, {}).direction, 2));
  auto calm = half_hour([](int) { return Wind{}; });
  EXPECT_TRUE(std::isnan(statistics_of(calm, START, {}).direction));
}

}  // namespace sonic::records
