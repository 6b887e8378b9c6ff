#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace sonic {

constexpr size_t QELTA_WIDTH = 3;
using qelta_check = std::array<char, QELTA_WIDTH>;

/// XOR of `length` bytes: 0 to 255, and 0 for an empty range, whatever the pointer.
unsigned int xor_checksum(const void* bytes, unsigned int length);

/// Signature of the Campbell Scientific CSAT3B anemometer's output, 0 to 0xFFFF. An empty text
/// gives 0x54AA, which is not what the seed of the loop would give. STAYS.
unsigned int csat3b_checksum(const std::string& text);

/// Sum of all bytes modulo 256, in decimal, right-aligned in three characters: "  7", " 42", "255".
/// The padding is part of the checksum on the data line.
std::string qelta_checksum(const std::string& text);
/// The same of `length` bytes, for those who read millions of lines.
qelta_check qelta_check_of(const void* bytes, size_t length);

}  // namespace sonic
