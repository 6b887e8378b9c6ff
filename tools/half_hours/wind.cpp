#include "tools/half_hours/wind.h"

#include <algorithm>
#include <cmath>

#include "base/time.h"
#include "tools/half_hours/rotation.h"

namespace sonic::records {

namespace {

constexpr double PARTS = PARTS_PER_UNIT;
constexpr size_t GUST_SECONDS = 3;
constexpr uint64_t GUST_NANOSECONDS = uint64_t{GUST_SECONDS} * NANOSECONDS_PER_SECOND;
// Speeds are added up as whole numbers, so that a window's sum is the same wherever it came from.
// They are so small that it does not matter that the rest of each is cut off.
constexpr double PARTS_PER_SPEED = 1e10;

double yamartino(double mean_sine, double mean_cosine) {
  const double b = 2 / std::sqrt(3.0) - 1;
  const double e = std::sqrt(std::max(0.0, 1 - mean_sine * mean_sine - mean_cosine * mean_cosine));
  return std::asin(e) * (1 + b * e * e * e) * DEGREES_PER_RADIAN;
}

double gust_of(const Series& series, const std::vector<int64_t>& speeds) {
  double highest = NAN;
  int64_t sum = 0;
  size_t first = 0;
  for (size_t i = 0; i < speeds.size(); ++i) {
    sum += speeds[i];
    const size_t wanted = GUST_SECONDS * series.rate[i];
    while (i - first + 1 > wanted || series.time[i] - series.time[first] >= GUST_NANOSECONDS ||
           series.rate[first] != series.rate[i]) {
      sum -= speeds[first++];
      if (first > i) break;
    }
    if (wanted == 0 || i + 1 - first != wanted) continue;
    const double mean = static_cast<double>(sum) / (static_cast<double>(wanted) * PARTS_PER_SPEED);
    if (!(mean <= highest)) highest = mean;
  }
  return highest;
}

}  // namespace

HorizontalWind horizontal_wind_of(const Series& series) {
  double sum = 0;
  double sines = 0;
  double cosines = 0;
  size_t directions = 0;
  std::vector<int64_t> speeds(series.size());
  for (size_t i = 0; i < series.size(); ++i) {
    const double u = series.values[U][i] / PARTS;
    const double v = series.values[V][i] / PARTS;
    const double speed = std::sqrt(u * u + v * v);
    sum += speed;
    speeds[i] = static_cast<int64_t>(speed * PARTS_PER_SPEED);
    if (speed == 0) continue;  // from nowhere
    sines += u / speed;
    cosines += v / speed;
    ++directions;
  }
  const auto blowing = static_cast<double>(directions);
  return {sum / static_cast<double>(series.size()),
          directions == 0 ? NAN : yamartino(sines / blowing, cosines / blowing),
          gust_of(series, speeds)};
}

}  // namespace sonic::records
