#pragma once

#include <array>
#include <cmath>
#include <initializer_list>

#include "tools/half_hours/moments.h"
#include "tools/half_hours/rotation.h"

namespace sonic::records {

/// Wherever something cannot be computed, it is not a number.

/// The site of an instrument.
struct Site {
  double height = NAN;    ///< m above the zero plane
  double latitude = NAN;  ///< degrees
  double pressure = NAN;  ///< hPa
};

/// What follows from covariances after rotation.
struct Turbulence {
  double friction_velocity = NAN;  ///< u*, m/s (Stull 1988)
  double stress = NAN;             ///< tau, kg m-1 s-2, negative where the air loses momentum
  double obukhov_length = NAN;     ///< L, m; the buoyancy flux is taken as w'T' (Foken 2006)
  double stability = NAN;          ///< z / L
  double deviation_u = NAN;        ///< of sd_u / u* from its model, percent of the model
  double deviation_w = NAN;        ///< of sd_w / u*
};

/// `temperature` is the mean in °C. Without a height there are the friction
/// velocity and, with a pressure, the stress only.
Turbulence turbulence_of(const CovarianceMatrix& covariance, double temperature, const Site& site);

/// How far the mean over a period's six parts is from the covariance of the whole (Foken and
/// Wichura 1996, Agric. For. Meteor. 78).
class Stationarity {
 public:
  /// Of a period from `start` on, both in nanoseconds.
  Stationarity(const Series& series, uint64_t start, uint64_t length);

  /// For two quantities after a rotation, in percent of the whole. Not a number if a part has no
  /// record, or if the covariance of the whole is printed as zero.
  double percent(const CovarianceMatrix& whole, const Rotation& rotation, Quantity a,
                 Quantity b) const;

 private:
  static constexpr size_t PARTS = 6;
  std::array<Moments, PARTS> _parts;
};

/// Quality of a flux by the results of its tests in percent, as they are printed: 0 below 30, 1
/// below 100, and 2 (Mauder and Foken 2004). A result that is not a number makes it 2.
int flag_of(std::initializer_list<double> results);

}  // namespace sonic::records
