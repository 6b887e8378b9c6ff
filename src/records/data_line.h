#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace sonic {

// What the lines of a data file begin with, by which a reader knows them.
constexpr std::string_view MODEL_LINE = "Model\t";
constexpr std::string_view SERIAL_NUMBER_LINE = "SN\t";
constexpr std::string_view VERSION_LINE = "Version\t";
constexpr std::string_view RATE_LINE = "Rate\t";
constexpr std::string_view HEADER_LINE = "DATA_SONICH\t";
constexpr std::string_view DATA_LINE = "DATA_SONIC\t";
constexpr std::string_view ERROR_HEADER_LINE = "DATAERRORH\t";
constexpr std::string_view ERROR_LINE = "DATAERROR\t";

inline bool is_line(std::string_view line, std::string_view kind) {
  return line.compare(0, kind.size(), kind) == 0;
}

/// The line of a record, without a line feed. `values` are divided by tabs and end in one; the
/// check follows.
std::string data_line(uint64_t seconds, uint64_t nanoseconds, const std::string& values);

/// A record's line, taken apart.
struct data_line_t {
  uint64_t seconds = 0;      ///< of the Unix epoch, below DATA_LINE_END_OF_TIME
  uint32_t nanoseconds = 0;  ///< within that second
  std::string_view values;   ///< u, v, w, sos, ts and diag with tabs between, as the line has them
  bool has_fault = false;    ///< diag is not 0
};

/// Nanoseconds since 1970 fit 63 bits before this second, in the year 2262.
constexpr uint64_t DATA_LINE_END_OF_TIME = 9223372036;

enum class data_line_state {
  good,
  failed,    ///< the check does not fit
  left_out,  ///< the check fits and the line has not the ten columns, or a time that is none
};

/// Takes a line apart that begins with DATA_LINE. The byte after `line` must be readable and no
/// digit. Only a good line fills `record`, whose values are part of `line`.
data_line_state read_data_line(std::string_view line, data_line_t& record);

}  // namespace sonic
