#pragma once

#include <string>

namespace sonic::simulator {

/// As the menu numbers them.
enum class ErrorHandling : unsigned int { INCLUDE = 1, OMIT = 2 };
enum class OutputFormat : unsigned int { CUSTOM = 1, NMEA = 3 };

/// What the instrument remembers, also without power.
struct Settings {
  unsigned int baud = 38400;
  unsigned int rate = 10;      ///< Hz
  unsigned int averaging = 0;  ///< samples to a record; 0 and 1: every sample is a record
  ErrorHandling error_handling = ErrorHandling::INCLUDE;
  OutputFormat format = OutputFormat::CUSTOM;
  std::string fields = "5ABCDE";  ///< of the custom format
};

/// Whether the menu offers it.
bool is_baud_rate(unsigned int baud);
bool is_output_rate(unsigned int hz);

}  // namespace sonic::simulator
