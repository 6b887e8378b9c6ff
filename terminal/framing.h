#pragma once

#include <cstdint>
#include <string>

namespace sonic {

constexpr char LINE_END = '\r';
constexpr uint64_t NANOSECONDS = 1000000000;  // in a second

/// What a port driver puts before a record: "SECONDS.NNNNNNNNN,XX,", its time of arrival since 1970
/// and the XOR of the bytes up to the first comma, that comma included.
std::string stamp(uint64_t arrival_ns);

}  // namespace sonic
