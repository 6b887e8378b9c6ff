#pragma once

#include <array>

#include "tools/half_hours/moments.h"

namespace sonic::records {

/// Axes of other directions, as rows of unit length in the instrument's axes: along the mean wind,
/// across it, and up.
using Rotation = std::array<Vector, 3>;

inline constexpr double DEGREES_PER_RADIAN = 57.295779513082320877;

inline constexpr Rotation NO_ROTATION = {Vector{1, 0, 0}, Vector{0, 1, 0}, Vector{0, 0, 1}};

/// Turned about z until the mean of v vanishes, then about y until that of w does (Kaimal and
/// Finnigan 1994; Wilczak et al. 2001). Without a mean wind there is no rotation.
Rotation double_rotation(const Vector& mean_wind);

/// The plane of the mean wind over many periods, w = b0 + b1 u + b2 v, for wind from `from` degrees
/// to just before `to`; a sector over north has the larger number first.
struct Plane {
  double from = 0;
  double to = 360;
  double b0 = 0;  ///< m/s: the offset of the instrument's w
  double b1 = 0;
  double b2 = 0;
};

/// Whether the plane is for wind from this direction, in degrees.
bool is_in_sector(const Plane& plane, double direction);

/// Turned until the plane is horizontal, then about the new z until the mean of v vanishes (Wilczak
/// et al. 2001). The mean of w stays.
Rotation planar_rotation(const Plane& plane, const Vector& mean_wind);

/// Covariances in the turned axes; the temperature keeps its place.
CovarianceMatrix rotated(const CovarianceMatrix& covariance, const Rotation& rotation);

/// Where the wind comes from, clockwise from the instrument's north: 0 to just below 360. Not a
/// number where it does not blow.
double direction_of(double u, double v);

}  // namespace sonic::records
