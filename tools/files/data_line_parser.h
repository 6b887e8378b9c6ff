#pragma once

#include <cstdint>
#include <string_view>

namespace sonic {

/// Whether the line has this tag.
inline bool has_tag(std::string_view line, std::string_view tag) {
  return line.size() > tag.size() && line[tag.size()] == '\t' &&
         line.compare(0, tag.size(), tag) == 0;
}

/// A record's line, taken apart.
struct DataLine {
  uint64_t seconds = 0;      ///< since 1970, below END_OF_TIME_SECONDS
  uint32_t nanoseconds = 0;  ///< within that second
  std::string_view values;   ///< u, v, w, sos, ts and diag with tabs between, as in the line
  bool has_fault = false;    ///< diag is not 0
};

/// Nanoseconds since 1970 fit 63 bits before this second, 2262-04-11 23:47:16 UTC.
inline constexpr uint64_t END_OF_TIME_SECONDS = 9223372036;

/// What a line that has DATA_TAG is.
enum class DataLineState {
  GOOD,
  FAILED,    ///< the checksum does not fit
  LEFT_OUT,  ///< the checksum fits, and the line lacks the ten columns or has a time that is none
};

/// Takes a line apart that has DATA_TAG. Only a good line fills `record`, whose values are part of
/// `line`.
DataLineState parse_data_line(std::string_view line, DataLine& record);

}  // namespace sonic
