#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "tools/half_hours/sample.h"

namespace sonic::records {

/// Good records of one instrument in the order of time, as columns of equal length.
struct Series {
  std::vector<uint64_t> time;  ///< nanoseconds since 1970
  std::vector<uint16_t> rate;
  std::array<std::vector<int32_t>, QUANTITIES> values;  ///< in 1 / PARTS_PER_UNIT

  size_t size() const { return time.size(); }
};

using Vector = std::array<double, 3>;  ///< u, v, w
using CovarianceMatrix = std::array<std::array<double, COVARIANT>, COVARIANT>;

/// Means (m/s, °C) and covariances: sums of the products of two deviations from the mean, divided
/// by the number of records.
struct Moments {
  size_t records = 0;
  std::array<double, QUANTITIES> mean = {};
  CovarianceMatrix covariance = {};

  Vector wind() const { return {mean[U], mean[V], mean[W]}; }
};

/// Of the records from `begin` to just before `end`; all zero where there is none. The sums are
/// whole numbers, so the results are right to the last bits, whatever the order of the records and
/// however large the means are beside the deviations.
Moments moments_of(const Series& series, size_t begin, size_t end);

/// Third and fourth moments of a quantity: skewness, and kurtosis, which is 3 for a normal
/// distribution. Not a number where the standard deviation is smaller than the records resolve.
struct Shape {
  double skewness;
  double kurtosis;
};

/// Of `weights` times the deviations from the means of u, v, w and ts: of w after a rotation, say.
Shape shape_of(const Series& series, const Moments& moments,
               const std::array<double, COVARIANT>& weights);

}  // namespace sonic::records
