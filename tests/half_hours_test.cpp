// Statistics of half hours over records whose answers are known. Sessions hold whole tables against
// an independent calculation.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "support.h"
#include "tools/half_hours/columns.h"
#include "tools/half_hours/decimal.h"
#include "tools/half_hours/planes.h"
#include "tools/half_hours/spikes.h"
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

Sample sample(uint64_t time, const Wind& wind, int rate = RATE) {
  Sample s;
  s.time = time;
  s.values = {parts(wind.u), parts(wind.v), parts(wind.w), parts(wind.ts), parts(343.2)};
  s.rate = static_cast<uint16_t>(rate);
  return s;
}

/// A record each tenth of a second.
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

/// All cells of a row, divided by spaces; "-" for an empty one.
std::string cells(const Statistics& row, const std::vector<StatisticsColumn>& columns) {
  std::string text;
  for (const StatisticsColumn& column : columns) {
    const double value = row.*column.value;
    text += (std::isnan(value) ? "-" : fixed_text(value, column.digits)) + " ";
  }
  return text;
}

std::string all_cells(std::vector<Sample> samples, const StatisticsOptions& options = {}) {
  return cells(statistics_of(samples, START, options), STATISTICS_COLUMNS);
}

double plus_or_minus(int i) { return i % 2 == 0 ? 1 : -1; }

}  // namespace

TEST(HalfHoursTest, TakesValuesToFourDigits) {
  struct {
    const char* text;
    Values values;  // u, v, w, ts, sos
  } cases[] = {
      {"1.23\t-0.45\t0.07\t343.21\t21.50\t0", {12300, -4500, 700, 215000, 3432100}},
      {"0.00004\t0.00005\t-0.00005\t-0.000049\t9.99995\t0", {0, 1, -1, 100000, 0}},
      {"099999.99994\t-99999.9\t1.0\t1.0\t1.0\t7", {999999999, -999999000, 10000, 10000, 10000}},
  };
  for (const auto& c : cases) EXPECT_EQ(c.values, parse_values(c.text)) << c.text;
  EXPECT_FALSE(parse_values("1.0\t1.0\t1.0\t1.0\t-100000.0\t0"));
  EXPECT_FALSE(parse_values("99999999999999999999.0\t1.0\t1.0\t1.0\t1.0\t0"));
}

TEST(HalfHoursTest, RoundsHalvesUpWhateverTheLastBit) {
  struct {
    double value;
    int digits;
    const char* text;
  } cases[] = {
      {1.00005, 4, "1.0001"},
      {-1.00005, 4, "-1.0000"},
      {1.000049999, 4, "1.0000"},
      {0.00015, 4, "0.0002"},
      {-0.00005, 4, "0.0000"},
      {-0.000051, 4, "-0.0001"},
      {-0.0, 2, "0.00"},
      {2.5, 0, "3"},
      {-0.25, 0, "0"},
      {-3.14159, 2, "-3.14"},
      {1e-9, 9, "0.000000001"},
      {999999999.995, 2, "1000000000.00"},
      {1e12, 1, "1000000000000.0"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.text, fixed_text(c.value, c.digits)) << c.value;
}

TEST(HalfHoursTest, FindsTheCovarianceOfSines) {
  const auto angle = [](int i) { return 2 * M_PI * i / 600; };
  auto samples = half_hour([&](int i) {
    return Wind{4 + 2 * std::sin(angle(i)), 1, 0.5 * std::sin(angle(i) + M_PI / 3),
                20 - std::sin(angle(i))};
  });
  const Statistics row = statistics_of(samples, START, unrotated());
  EXPECT_NEAR(2, row.cov_uu, 1e-4);
  EXPECT_NEAR(0.25, row.cov_uw, 1e-4);
  EXPECT_NEAR(-0.125, row.cov_wt, 1e-4);
  EXPECT_NEAR(-1, row.cov_ut, 1e-4);
  EXPECT_NEAR(0.5, row.cov_tt, 1e-4);
  EXPECT_EQ(0, row.cov_vv);
  EXPECT_NEAR(0.5, row.ustar, 1e-4);
  EXPECT_NEAR(1.0625, row.tke, 1e-4);
  EXPECT_NEAR(1.5, row.kurt_ts, 1e-3);
  EXPECT_NEAR(std::sqrt(17), row.speed, 1e-4);
}

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

TEST(HalfHoursTest, ComputesExactlyWithValuesThatNoWindHas) {
  auto samples = half_hour([](int i) {
    const double far = 99999 * plus_or_minus(i);
    return Wind{far, -far, 1, far};
  });
  const Statistics row = statistics_of(samples, START, unrotated());
  EXPECT_EQ(0, row.u);
  EXPECT_EQ(99999.0 * 99999, row.cov_uu);
  EXPECT_EQ(-99999.0 * 99999, row.cov_uv);
  EXPECT_EQ(0, row.cov_ww);
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
  EXPECT_NEAR(0, row.vw, 1e-5);
  EXPECT_NEAR(-0.05, row.wt, 2e-5);
  EXPECT_NEAR(std::sqrt(0.02), row.ustar, 1e-4);
  EXPECT_NEAR(5, row.speed, 1e-4);
  EXPECT_NEAR(360 + std::atan2(std::cos(2.2), std::sin(2.2)) * 180 / M_PI, row.direction, 1e-2);

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

TEST(HalfHoursTest, ComparesTurbulenceWithItsModels) {
  // u* is 0.3 m/s and the temperature 20 °C; ratios and models by hand.
  const double per_flux = -0.4 * 9.81 * 10 / (0.027 * 293.15);  // z / L of a flux of 1 at 10 m
  struct {
    double stability;
    double latitude;
    double model_u;
    double model_w;
  } cases[] = {
      {-1, NAN, 4.15, 2.0},
      {-0.5, 50, 3.8055, 1.8340},
      {-0.033, 50, 2.7091, 1.3056},
      {-0.031, 50, 2.7, 1.3},
      {0.1, NAN, 2.7, 1.3},
      {0.1, -50, 2.82597, 1.44194},  // f / u* = 3.72405e-4, whose logarithm is -7.89553
      {0.39, 50, 2.82597, 1.44194},
      {0.41, 50, NAN, NAN},
  };
  for (const auto& c : cases) {
    CovarianceMatrix covariance = {};
    covariance[U][U] = 0.81;
    covariance[W][W] = 0.09;
    covariance[U][W] = covariance[W][U] = -0.09;
    covariance[W][TS] = covariance[TS][W] = c.stability / per_flux;
    const Turbulence t = turbulence_of(covariance, 20, {10, c.latitude, NAN});
    EXPECT_NEAR(0.3, t.friction_velocity, 1e-9);
    EXPECT_NEAR(c.stability, t.stability, 1e-9);
    EXPECT_NEAR(10 / c.stability, t.obukhov_length, 1e-6);
    if (std::isnan(c.model_u)) {
      EXPECT_TRUE(std::isnan(t.deviation_u) && std::isnan(t.deviation_w)) << c.stability;
      continue;
    }
    EXPECT_NEAR(100 * std::abs(1 - 3 / c.model_u), t.deviation_u, 0.01) << c.stability;
    EXPECT_NEAR(100 * std::abs(1 - 1 / c.model_w), t.deviation_w, 0.01) << c.stability;
  }
  // 1013.25 hPa over 287.05 J/(kg K) at 20 °C: 1.2041 kg/m3
  CovarianceMatrix covariance = {};
  covariance[U][W] = -0.09;
  EXPECT_NEAR(-0.10837, turbulence_of(covariance, 20, {NAN, NAN, 1013.25}).stress, 1e-5);
}

TEST(HalfHoursTest, TakesTheHighestMeanOfThreeSecondsAsGust) {
  const auto peak = [](int from, int to, double speed) {
    return [=](int i) { return Wind{0, i >= from && i < to ? -speed : -2, 0, 0}; };
  };
  const auto gust = [](std::vector<Sample> samples) {
    return fixed_text(statistics_of(samples, START, {}).gust, 4);
  };
  EXPECT_EQ("12.0000", gust(half_hour(peak(100, 130, 12))));
  EXPECT_EQ("7.0000", gust(half_hour(peak(0, 15, 12))));
  EXPECT_EQ("2.0000", gust(half_hour(peak(100, 130, 12), 30)));
  EXPECT_EQ("nan", gust(half_hour(peak(0, 30, 12), 29)));

  auto lost = half_hour(peak(100, 130, 12));
  lost.erase(lost.begin() + 115);
  EXPECT_EQ("7.0000", gust(lost)) << "15 records before the one that is lost, or 14 after it";
  auto other_rate = half_hour(peak(100, 130, 12), 130);
  for (size_t i = 110; i < other_rate.size(); ++i) other_rate[i].rate = 20;
  EXPECT_EQ("5.3333", gust(other_rate));
}

TEST(HalfHoursTest, SpreadsDirectionsAroundTheCircle) {
  EXPECT_EQ(0, direction_of(0, 1));
  EXPECT_EQ(270, direction_of(-1, 0));
  // From 350 and 10 degrees in turns: the mean is north, and e = sin(10 degrees).
  auto samples = half_hour([](int i) {
    const double angle = plus_or_minus(i) * M_PI / 18;
    return Wind{3 * std::sin(angle), 3 * std::cos(angle), 0, 0};
  });
  const Statistics row = statistics_of(samples, START, {});
  const double e = std::sin(M_PI / 18);
  EXPECT_EQ("0.00", fixed_text(row.direction, 2));
  EXPECT_NEAR(10 * (1 + 0.1547 * e * e * e), row.sd_direction, 1e-3);
  EXPECT_NEAR(3, row.speed_scalar, 1e-4);
  EXPECT_NEAR(3 * std::cos(M_PI / 18), row.speed, 1e-4);
  auto west_of_north = half_hour([](int) { return Wind{-0.0001, 3, 0, 0}; }, 1);
  EXPECT_EQ("0.00", fixed_text(statistics_of(west_of_north, START, {}).direction, 2));
  auto calm = half_hour([](int) { return Wind{}; });
  EXPECT_TRUE(std::isnan(statistics_of(calm, START, {}).direction));
}

TEST(HalfHoursTest, CountsWhatIsThereAndWhatIsMissing) {
  const auto at = [](double seconds, int rate) {
    return sample(START + static_cast<uint64_t>(seconds * 10) * NS / 10, {}, rate);
  };
  struct {
    const char* what;
    std::vector<Sample> samples;
    const char* cells;  // records, expected, percent, faults, gaps
  } cases[] = {
      {"none", {}, "0 - - 0 0 "},
      {"one", {at(900, 32)}, "1 57600 0.00 0 2 "},
      {"from edge to edge", {at(0, 4), at(1.2, 4), at(1798.8, 4)}, "3 7200 0.04 0 1 "},
      {"the rate changes after 600 s", {at(0, 4), at(600, 20)}, "2 26400 0.01 0 2 "},
      {"no rate", {at(5, 0), at(1795, 0)}, "2 - - 0 1 "},
      {"the same twice", {at(900, 4), at(900, 4)}, "1 7200 0.01 0 2 "},
  };
  for (auto& c : cases) {
    const std::vector<StatisticsColumn> first(STATISTICS_COLUMNS.begin(),
                                              STATISTICS_COLUMNS.begin() + 5);
    EXPECT_EQ(c.cells, cells(statistics_of(c.samples, START, {}), first)) << c.what;
  }
  auto faults = half_hour([](int) { return Wind{1, 1, 1, 1}; }, 3);
  for (Sample& s : faults) s.diag = 1;
  EXPECT_EQ(0u, all_cells(faults).find("0 18000 0.00 3 1 0 - - ")) << all_cells(faults);
}

TEST(HalfHoursTest, ReadsThePlanesOfAFit) {
  const std::string head = "from\tto\tperiods\tb0\tb1\tb2\n";
  const std::string path = testing::TempDir() + "planes";
  const auto read = [&](const std::string& text) {
    std::ofstream(path) << text;
    return read_planes(path);
  };
  const auto planes = read(head + "0\t180\t99\t0.01\t-0.02\t1e-3\n180\t360\t7\t0\t0\t0\n");
  ASSERT_EQ(2u, planes.size());
  EXPECT_EQ(180, planes[0].to);
  EXPECT_EQ(-0.02, planes[0].b1);
  EXPECT_EQ(0.001, planes[0].b2);
  const std::string no_fit = path + ": no planar fit, as sonic-plot --planar-fit writes it";
  struct {
    std::string text;
    std::string why;
  } cases[] = {
      {"", no_fit},
      {"from\tto\n", no_fit},
      {head, path + ": no plane"},
      {head + "0\t360\t9\t0\t0\n", path + ": '0\t360\t9\t0\t0' is not a plane"},
      {head + "0\t360\t9\t0\t0\tnan\n", path + ": '0\t360\t9\t0\t0\tnan' is not a plane"},
      {head + "0\t361\t9\t0\t0\t0\n", path + ": '0\t361\t9\t0\t0\t0' is not a plane"},
      {head + "0\t360\t9\t0\t0\t0 \n", path + ": '0\t360\t9\t0\t0\t0 ' is not a plane"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.why, thrown_by([&] { read(c.text); }));
}

}  // namespace sonic::records
