#pragma once

#include <cstdint>
#include <random>

namespace sonic::simulator {

/// What the instrument measures in one instant.
struct Sample {
  double u = 0;                 ///< m/s
  double v = 0;                 ///< m/s
  double w = 0;                 ///< m/s
  double speed_of_sound = 0;    ///< m/s
  double temperature = 0;       ///< sonic temperature, degrees Celsius
  unsigned int diagnostic = 0;  ///< 0: the sample is good
};

/// A steady wind with turbulence. The same seed gives the same samples with every compiler.
class Wind {
 public:
  explicit Wind(uint32_t seed) : _random(seed) {}

  /// The next sample. It depends on the one before, not on a time.
  Sample next();

 private:
  double gaussian();
  void drift(double& deviation, double sigma);

  std::mt19937 _random;
  Sample _deviation;  // from the means
};

}  // namespace sonic::simulator
