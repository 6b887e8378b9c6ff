#include "simulator/output_line.h"

#include <algorithm>
#include <cstdio>

#include "records/checksum.h"

namespace sonic::simulator {

namespace {

constexpr double MAX_COLUMN_VALUE = 999.99;                       // what fits a column
constexpr double ANALOG_INPUTS[] = {0.012, 0.008, 1.250, 4.998};  // V

std::string column(double value) {
  char text[16];
  std::snprintf(text, sizeof text, "%8.2f", std::clamp(value, -MAX_COLUMN_VALUE, MAX_COLUMN_VALUE));
  return text;
}

std::string checksum(const std::string& line) {
  char text[8];
  std::snprintf(text, sizeof text, "%02x",
                xor_checksum(line.data(), static_cast<unsigned int>(line.size())));
  return text;
}

// The custom format names the fields in the order in which they are sent; letters that name
// nothing are passed over.
std::string custom_line(const std::string& fields, const Sample& sample) {
  std::string line;
  for (const char field : fields) {
    switch (field) {
      case '5':
        line += column(sample.u) + column(sample.v) + column(sample.w);
        break;
      case 'A':
        line += column(sample.speed_of_sound);
        break;
      case 'B':
        line += column(sample.temperature);
        break;
      case 'C':
        line += " " + checksum(line);
        break;
      case 'D':
        for (const double volt : ANALOG_INPUTS) line += column(volt);
        break;
      case 'E':
        line += " " + std::to_string(sample.diagnostic);
        break;
      default:
        break;
    }
  }
  return line;
}

}  // namespace

std::string output_line(const Settings& settings, const Sample& sample) {
  if (settings.format == OutputFormat::CUSTOM) return custom_line(settings.fields, sample);
  const std::string line =
      "WIMWV" + column(sample.u) + column(sample.v) + column(sample.w) + column(sample.temperature);
  return "$" + line + "*" + checksum(line);
}

}  // namespace sonic::simulator
