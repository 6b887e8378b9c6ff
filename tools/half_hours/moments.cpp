#include "tools/half_hours/moments.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace sonic::records {

namespace {

constexpr double PARTS = PARTS_PER_UNIT;
constexpr size_t PRODUCTS = COVARIANT * (COVARIANT + 1) / 2;
constexpr double MIN_DEVIATION = 0.00005;  // which is printed as 0.0000

// A sum of whole numbers that does not overflow before 2^31 of them.
class ExactSum {
 public:
  void add(int64_t number) {
    _high += number >> 32;
    _low += static_cast<uint32_t>(number);
  }
  double value() const {
    return static_cast<double>(_high) * 4294967296.0 + static_cast<double>(_low);
  }

 private:
  int64_t _high = 0;
  uint64_t _low = 0;
};

int64_t rounded_quotient(int64_t dividend, int64_t divisor) {
  const int64_t half = dividend < 0 ? -divisor / 2 : divisor / 2;
  return (dividend + half) / divisor;
}

// Deviations of a column from a whole number that is at most half a part off its mean.
struct Centre {
  int64_t middle = 0;
  int64_t rest = 0;     // sum of the deviations from it
  int64_t largest = 0;  // of them, without its sign
};

Centre centre_of(const std::vector<int32_t>& column, size_t begin, size_t end) {
  int64_t sum = 0;
  int32_t low = column[begin];
  int32_t high = low;
  for (size_t i = begin; i < end; ++i) {
    sum += column[i];
    low = std::min(low, column[i]);
    high = std::max(high, column[i]);
  }
  const auto records = static_cast<int64_t>(end - begin);
  Centre centre;
  centre.middle = rounded_quotient(sum, records);
  centre.rest = sum - centre.middle * records;
  centre.largest = std::max(centre.middle - low, high - centre.middle);
  return centre;
}

using Products = std::array<int64_t, PRODUCTS>;

// Sums of the products of each two deviations, so few that nothing overflows.
Products sums_of_products(const Series& series, const std::array<Centre, COVARIANT>& centres,
                          size_t begin, size_t end) {
  Products sums = {};
  for (size_t i = begin; i < end; ++i) {
    int64_t deviation[COVARIANT];
    for (size_t a = 0; a < COVARIANT; ++a) {
      deviation[a] = series.values[a][i] - centres[a].middle;
    }
    size_t k = 0;
    for (size_t a = 0; a < COVARIANT; ++a) {
      for (size_t b = a; b < COVARIANT; ++b) sums[k++] += deviation[a] * deviation[b];
    }
  }
  return sums;
}

}  // namespace

Moments moments_of(const Series& series, size_t begin, size_t end) {
  Moments moments;
  moments.records = end - begin;
  if (moments.records == 0) return moments;
  const auto records = static_cast<double>(moments.records);

  std::array<Centre, COVARIANT> centres;
  int64_t largest = 1;
  for (size_t a = 0; a < QUANTITIES; ++a) {
    const Centre centre = centre_of(series.values[a], begin, end);
    const int64_t sum = centre.middle * static_cast<int64_t>(moments.records) + centre.rest;
    moments.mean[a] = static_cast<double>(sum) / (records * PARTS);
    if (a == SOS) continue;
    centres[a] = centre;
    largest = std::max(largest, centre.largest);
  }

  // With winds as they blow, all records are one block.
  const auto most = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
  const auto block = static_cast<size_t>(
      std::min<uint64_t>(most / static_cast<uint64_t>(largest * largest), moments.records));
  std::array<ExactSum, PRODUCTS> totals;
  for (size_t i = begin; i < end; i += block) {
    const Products sums = sums_of_products(series, centres, i, std::min(i + block, end));
    for (size_t k = 0; k < PRODUCTS; ++k) totals[k].add(sums[k]);
  }

  size_t k = 0;
  for (size_t a = 0; a < COVARIANT; ++a) {
    for (size_t b = a; b < COVARIANT; ++b) {
      const double off =
          static_cast<double>(centres[a].rest) * static_cast<double>(centres[b].rest);
      const double covariance = (totals[k++].value() - off / records) / records / (PARTS * PARTS);
      moments.covariance[a][b] = moments.covariance[b][a] = covariance;
    }
  }
  return moments;
}

Shape shape_of(const Series& series, const Moments& moments,
               const std::array<double, COVARIANT>& weights) {
  double second = 0;
  double third = 0;
  double fourth = 0;
  for (size_t i = 0; i < series.size(); ++i) {
    double x = 0;
    for (size_t a = 0; a < COVARIANT; ++a) {
      x += weights[a] * (series.values[a][i] / PARTS - moments.mean[a]);
    }
    second += x * x;
    third += x * x * x;
    fourth += x * x * x * x;
  }
  const auto records = static_cast<double>(series.size());
  const double variance = second / records;
  if (!(std::sqrt(variance) >= MIN_DEVIATION)) return {NAN, NAN};
  return {third / records / (variance * std::sqrt(variance)),
          fourth / records / (variance * variance)};
}

}  // namespace sonic::records
