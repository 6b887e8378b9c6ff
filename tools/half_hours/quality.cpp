#include "tools/half_hours/quality.h"

#include <algorithm>
#include <cstdlib>

#include "tools/half_hours/decimal.h"

namespace sonic::records {

namespace {

constexpr double KAPPA = 0.40;
constexpr double GRAVITY = 9.81;              // m/s2
constexpr double ZERO_CELSIUS = 273.15;       // K
constexpr double GAS_CONSTANT = 287.05;       // of dry air, J kg-1 K-1
constexpr double EARTH_ROTATION = 7.2921e-5;  // rad/s
constexpr double PI = 3.14159265358979323846;
constexpr double NEUTRAL_DOWN_TO = -0.032;
constexpr double STABLE_UP_TO = 0.4;  // beyond it there is no model

// Ratios of a standard deviation to u* by stability: constant near neutral, below that a power of
// z / L, above it by the Coriolis parameter (Foken et al. 2004; Thomas and Foken 2002).
struct Model {
  double neutral;
  double unstable_factor;
  double stable_factor;
  double stable_offset;
};
constexpr Model MODEL_U = {2.7, 4.15, 0.44, 6.3};
constexpr Model MODEL_W = {1.3, 2.0, 0.21, 3.1};

double modelled(const Model& model, double stability, double friction_velocity, double latitude) {
  if (stability <= NEUTRAL_DOWN_TO) return model.unstable_factor * std::pow(-stability, 0.125);
  if (stability >= STABLE_UP_TO) return NAN;
  if (stability <= 0 || std::isnan(latitude)) return model.neutral;
  const double coriolis = 2 * EARTH_ROTATION * std::sin(std::abs(latitude) * PI / 180);
  const double ratio =
      model.stable_factor * std::log(coriolis / friction_velocity) + model.stable_offset;
  return ratio > 0 ? ratio : NAN;
}

double deviation(double measured, double model) {
  return std::abs((model - measured) / model) * 100;
}

}  // namespace

Turbulence turbulence_of(const CovarianceMatrix& covariance, double temperature, const Site& site) {
  Turbulence result;
  const double friction = std::sqrt(std::hypot(covariance[U][W], covariance[V][W]));
  result.friction_velocity = friction;
  // By the sonic temperature the density is that of moist air, since it is close to the virtual
  // one.
  const double density = site.pressure * 100 / (GAS_CONSTANT * (temperature + ZERO_CELSIUS));
  result.stress = -density * friction * friction;
  if (std::isnan(site.height) || is_zero(friction, VELOCITY_DIGITS)) return result;
  const double production = KAPPA * GRAVITY * covariance[W][TS];
  const double shear = -friction * friction * friction * (temperature + ZERO_CELSIUS);
  if (!is_zero(covariance[W][TS], FLUX_DIGITS)) result.obukhov_length = shear / production;
  result.stability = site.height * production / shear;
  const auto ratio = [&](Quantity a) { return std::sqrt(covariance[a][a]) / friction; };
  const auto model = [&](const Model& m) {
    return modelled(m, result.stability, friction, site.latitude);
  };
  result.deviation_u = deviation(ratio(U), model(MODEL_U));
  result.deviation_w = deviation(ratio(W), model(MODEL_W));
  return result;
}

Stationarity::Stationarity(const Series& series, uint64_t start, uint64_t length) {
  size_t begin = 0;
  for (size_t part = 0; part < PARTS; ++part) {
    const uint64_t until = start + length * (part + 1) / PARTS;
    const auto end = std::lower_bound(series.time.begin(), series.time.end(), until);
    const auto next = static_cast<size_t>(end - series.time.begin());
    _parts[part] = moments_of(series, begin, next);
    begin = next;
  }
}

double Stationarity::percent(const CovarianceMatrix& whole, const Rotation& rotation, Quantity a,
                             Quantity b) const {
  if (is_zero(whole[a][b], FLUX_DIGITS)) return NAN;
  double sum = 0;
  for (const Moments& part : _parts) {
    if (part.records == 0) return NAN;
    sum += rotated(part.covariance, rotation)[a][b];
  }
  return std::abs((sum / PARTS - whole[a][b]) / whole[a][b]) * 100;
}

int flag_of(std::initializer_list<double> results) {
  int flag = 0;
  for (const double result : results) {
    const double printed = std::strtod(fixed_text(result, TEST_DIGITS).c_str(), nullptr);
    flag = std::max(flag, printed < 30 ? 0 : printed < 100 ? 1 : 2);
  }
  return flag;
}

}  // namespace sonic::records
