#include "records/dump.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <string>

namespace sonic {

namespace {

constexpr int ROW = 16;
constexpr const char* HEX = "0123456789abcdef";

bool is_printable(uint8_t byte) { return byte >= 32 && byte <= 126; }

}  // namespace

void dump(std::ostream& out, const void* data, int length) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  out << std::to_string(length) << " bytes\n";
  for (int start = 0; start < length; start += ROW) {
    std::string text;
    std::string hex;
    for (int i = start; i < std::min(start + ROW, length); ++i) {
      text += is_printable(bytes[i]) ? static_cast<char>(bytes[i]) : '.';
      hex += {' ', HEX[bytes[i] >> 4], HEX[bytes[i] & 0xF]};
    }
    out << std::string(ROW - text.size(), ' ') << text << ' ' << hex << '\n';
  }
  out.flush();
}

void dump(const void* data, int length) { dump(std::cout, data, length); }

}  // namespace sonic
