#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace sonic {

/// The name of a data file as the daemon gives it, START.MODEL.SERIAL, without its folder. What a
/// compression has added is part of the instrument.
struct FileName {
  uint64_t start_seconds;       ///< of the half hour, since 1970
  std::string_view instrument;  ///< "young_81000_v.01234"
};

/// Nothing for any other name.
std::optional<FileName> parse_file_name(std::string_view name);

}  // namespace sonic
