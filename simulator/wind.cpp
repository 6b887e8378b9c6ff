#include "simulator/wind.h"

#include <cmath>

namespace sonic::simulator {

namespace {

// mean and standard deviation of a fresh breeze on a mild day
constexpr double MEAN_U = 3.2, SIGMA_U = 0.9;
constexpr double MEAN_V = -1.1, SIGMA_V = 0.7;
constexpr double MEAN_W = 0.05, SIGMA_W = 0.3;
constexpr double MEAN_TEMPERATURE = 21.5, SIGMA_TEMPERATURE = 0.25;

// how much of its deviation the next sample keeps
constexpr double PERSISTENCE = 0.95;

constexpr double MAX_RANDOM = 4294967295;
constexpr double SOUND_FACTOR = 20.05;  // m/s per square root of a kelvin
constexpr double ZERO_CELSIUS = 273.15;

}  // namespace

Sample Wind::next() {
  drift(_deviation.u, SIGMA_U);
  drift(_deviation.v, SIGMA_V);
  drift(_deviation.w, SIGMA_W);
  drift(_deviation.temperature, SIGMA_TEMPERATURE);
  Sample sample;
  sample.u = MEAN_U + _deviation.u;
  sample.v = MEAN_V + _deviation.v;
  sample.w = MEAN_W + _deviation.w;
  sample.temperature = MEAN_TEMPERATURE + _deviation.temperature;
  sample.speed_of_sound = SOUND_FACTOR * std::sqrt(sample.temperature + ZERO_CELSIUS);
  return sample;
}

// The sum of twelve uniform numbers instead of std::normal_distribution, whose numbers differ
// between standard libraries.
double Wind::gaussian() {
  double sum = -6;
  for (int i = 0; i < 12; ++i) sum += static_cast<double>(_random()) / MAX_RANDOM;
  return sum;
}

void Wind::drift(double& deviation, double sigma) {
  deviation =
      PERSISTENCE * deviation + std::sqrt(1 - PERSISTENCE * PERSISTENCE) * sigma * gaussian();
}

}  // namespace sonic::simulator
