#pragma once

#include <cstdint>
#include <string>

namespace sonic {

inline constexpr char LINE_END = '\r';

/// What a port driver puts before a record: "SECONDS.NNNNNNNNN,XX,", its time of arrival since 1970
/// and the XOR checksum of the bytes up to the first comma, that comma included.
std::string time_stamp(uint64_t arrival_ns);

}  // namespace sonic
