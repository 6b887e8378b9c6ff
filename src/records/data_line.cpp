#include "records/data_line.h"

#include "records/checksum.h"
#include "records/line_tags.h"

namespace sonic {

namespace {

constexpr size_t TYPICAL_DATA_LINE = 128;

}  // namespace

std::string instrument_lines(const std::string& model, const std::string& serial_number,
                             const std::string& version, const std::string& rate) {
  std::string lines;
  lines.append(MODEL_TAG).append("\t").append(model).append("\n");
  lines.append(SERIAL_NUMBER_TAG).append("\t").append(serial_number).append("\n");
  lines.append(VERSION_TAG).append("\t").append(version).append("\n");
  lines.append(RATE_TAG).append("\t").append(rate);
  return lines;
}

std::string data_line(uint64_t seconds, uint64_t nanoseconds, const std::string& values) {
  std::string line;
  line.reserve(TYPICAL_DATA_LINE);
  line.append(DATA_TAG).append("\t").append(std::to_string(seconds)).append("\t");
  line.append(std::to_string(nanoseconds)).append("\t").append(values);
  line += qelta_checksum(line);
  return line;
}

}  // namespace sonic
