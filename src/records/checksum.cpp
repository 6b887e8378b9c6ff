#include "records/checksum.h"

#include <cstdint>

namespace sonic {

namespace {

constexpr unsigned int CSAT3B_EMPTY = 0x54AA;
constexpr uint8_t CSAT3B_SEED = 0xAA;
constexpr size_t QELTA_WIDTH = 3;

}  // namespace

unsigned int xor_checksum(const void* bytes, unsigned int length) {
  const auto* p = static_cast<const uint8_t*>(bytes);
  unsigned int sum = 0;
  for (unsigned int i = 0; i < length; ++i) sum ^= p[i];
  return sum;
}

unsigned int csat3b_checksum(const std::string& text) {
  if (text.empty()) return CSAT3B_EMPTY;
  uint8_t high = CSAT3B_SEED;
  uint8_t low = CSAT3B_SEED;
  for (const char c : text) {
    const auto rotated = static_cast<uint8_t>((low << 1) | (low >> 7));
    const auto next = static_cast<uint8_t>(rotated + high + static_cast<uint8_t>(c));
    high = low;
    low = next;
  }
  return high * 256U + low;
}

std::string qelta_checksum(const std::string& text) {
  uint8_t sum = 0;
  for (const char c : text) sum = static_cast<uint8_t>(sum + static_cast<uint8_t>(c));
  const std::string digits = std::to_string(sum);
  return std::string(QELTA_WIDTH - digits.size(), ' ') + digits;
}

}  // namespace sonic
