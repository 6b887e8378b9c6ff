#include "tools/half_hours/rotation.h"

#include <cmath>

namespace sonic::records {

namespace {

double length(const Vector& a) { return std::sqrt(a[0] * a[0] + a[1] * a[1] + a[2] * a[2]); }

Vector cross(const Vector& a, const Vector& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

Vector scaled(const Vector& a, double factor) {
  return {a[0] * factor, a[1] * factor, a[2] * factor};
}

}  // namespace

Rotation double_rotation(const Vector& mean_wind) {
  const double horizontal = std::hypot(mean_wind[U], mean_wind[V]);
  const double speed = std::hypot(horizontal, mean_wind[W]);
  // Of the two angles; both are zero where there is no wind.
  const double cos_eta = horizontal == 0 ? 1 : mean_wind[U] / horizontal;
  const double sin_eta = horizontal == 0 ? 0 : mean_wind[V] / horizontal;
  const double cos_phi = speed == 0 ? 1 : horizontal / speed;
  const double sin_phi = speed == 0 ? 0 : mean_wind[W] / speed;
  return {Vector{cos_eta * cos_phi, sin_eta * cos_phi, sin_phi}, Vector{-sin_eta, cos_eta, 0},
          Vector{-cos_eta * sin_phi, -sin_eta * sin_phi, cos_phi}};
}

bool is_in_sector(const Plane& plane, double direction) {
  if (plane.from < plane.to) return direction >= plane.from && direction < plane.to;
  return direction >= plane.from || direction < plane.to;
}

Rotation planar_rotation(const Plane& plane, const Vector& mean_wind) {
  const Vector normal = {-plane.b1, -plane.b2, 1};
  const Vector up = scaled(normal, 1 / length(normal));
  const Vector wind = {mean_wind[U], mean_wind[V], mean_wind[W] - plane.b0};
  Vector across = cross(up, wind);
  if (length(across) == 0) across = cross(up, Vector{1, 0, 0});
  across = scaled(across, 1 / length(across));
  return {cross(across, up), across, up};
}

CovarianceMatrix rotated(const CovarianceMatrix& covariance, const Rotation& rotation) {
  CovarianceMatrix turn = {};
  turn[TS][TS] = 1;
  for (size_t i = 0; i < rotation.size(); ++i) {
    for (size_t a = 0; a < rotation.size(); ++a) turn[i][a] = rotation[i][a];
  }
  CovarianceMatrix result = {};
  for (size_t i = 0; i < COVARIANT; ++i) {
    for (size_t j = 0; j < COVARIANT; ++j) {
      for (size_t a = 0; a < COVARIANT; ++a) {
        for (size_t b = 0; b < COVARIANT; ++b) {
          result[i][j] += turn[i][a] * covariance[a][b] * turn[j][b];
        }
      }
    }
  }
  return result;
}

double direction_of(double u, double v) {
  if (u == 0 && v == 0) return NAN;
  const double degrees = std::atan2(u, v) * DEGREES_PER_RADIAN;
  return degrees < 0 ? degrees + 360 : degrees;
}

}  // namespace sonic::records
