#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "base/time.h"
#include "tools/half_hours/quality.h"
#include "tools/half_hours/rotation.h"
#include "tools/half_hours/sample.h"

namespace sonic::records {

/// How the axes of a period are turned: by its own mean wind, not at all, or by fitted planes.
enum class RotationMethod { DOUBLE, NONE, PLANAR };

/// How the statistics of a period are made.
struct StatisticsOptions {
  uint64_t period = SECONDS_PER_HALF_HOUR * NANOSECONDS_PER_SECOND;  ///< its length, nanoseconds
  RotationMethod rotation = RotationMethod::DOUBLE;
  std::vector<Plane> planes;  ///< for RotationMethod::PLANAR: the first one that fits is taken
  bool despike = false;       ///< leaves out records with a spike
  Site site;
};

/// A period's row. What cannot be computed is not a number. doc/half-hours.md explains each of them
/// and gives the formulas and their sources.
struct Statistics {
  uint64_t start = 0;  ///< nanoseconds since 1970

  double records = 0;  ///< without a fault: all that follow are computed from these
  double expected = NAN, percent = NAN;
  double faults = 0, gaps = 0, spikes = 0;

  /// In the instrument's axes.
  double u = NAN, v = NAN, w = NAN, sos = NAN, ts = NAN;
  double speed = NAN, speed_scalar = NAN, direction = NAN, sd_direction = NAN, gust = NAN;
  double cov_uu = NAN, cov_uv = NAN, cov_uw = NAN, cov_ut = NAN;
  double cov_vv = NAN, cov_vw = NAN, cov_vt = NAN;
  double cov_ww = NAN, cov_wt = NAN;
  double cov_tt = NAN;

  /// After rotation.
  double sd_u = NAN, sd_v = NAN, sd_w = NAN, sd_ts = NAN;
  double uw = NAN, vw = NAN, wt = NAN, ustar = NAN, tke = NAN;
  double skew_w = NAN, kurt_w = NAN, skew_ts = NAN, kurt_ts = NAN;

  /// Quality, in percent, and flags; then what needs a height or a pressure.
  double steady_uw = NAN, steady_wt = NAN, itc_u = NAN, itc_w = NAN;
  double flag_uw = NAN, flag_wt = NAN;
  double obukhov_length = NAN, stability = NAN;
  double tau = NAN;
};

/// Of all records of one instrument in a period that begins at `start`, in any order. Those that
/// are there twice, with the same time and values, count once. `samples` is put in order.
Statistics statistics_of(std::vector<Sample>& samples, uint64_t start,
                         const StatisticsOptions& options);

}  // namespace sonic::records
