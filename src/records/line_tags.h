#pragma once

#include <string_view>

namespace sonic {

/// What the lines of a data file begin with, by which a reader knows them. A tab follows.
inline constexpr std::string_view MODEL_TAG = "Model";
inline constexpr std::string_view SERIAL_NUMBER_TAG = "SN";
inline constexpr std::string_view VERSION_TAG = "Version";
inline constexpr std::string_view RATE_TAG = "Rate";
inline constexpr std::string_view HEADER_TAG = "DATA_SONICH";
inline constexpr std::string_view DATA_TAG = "DATA_SONIC";
inline constexpr std::string_view ERROR_HEADER_TAG = "DATAERRORH";
inline constexpr std::string_view ERROR_TAG = "DATAERROR";

}  // namespace sonic
