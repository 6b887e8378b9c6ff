#pragma once

#include <cstdint>
#include <string>

namespace sonic {

/// What stands at the top of every data file, before the header: four lines about the instrument,
/// the last without a line feed. `rate` is in Hz.
std::string instrument_lines(const std::string& model, const std::string& serial_number,
                             const std::string& version, const std::string& rate);

/// The line of a record, without a line feed. `values` are separated by tabs and end in one; the
/// checksum follows.
std::string data_line(uint64_t seconds, uint64_t nanoseconds, const std::string& values);

}  // namespace sonic
