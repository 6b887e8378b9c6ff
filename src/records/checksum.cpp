#include "records/checksum.h"

#include <cstdint>

namespace sonic {

namespace {

constexpr unsigned int CSAT3B_EMPTY = 0x54AA;
constexpr uint8_t CSAT3B_SEED = 0xAA;

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
  const qelta_check check = qelta_check_of(text.data(), text.size());
  return std::string(check.begin(), check.end());
}

qelta_check qelta_check_of(const void* bytes, size_t length) {
  const auto* p = static_cast<const uint8_t*>(bytes);
  uint8_t sum = 0;
  for (size_t i = 0; i < length; ++i) sum = static_cast<uint8_t>(sum + p[i]);
  const auto digit = [](int value) { return static_cast<char>('0' + value); };
  return {sum < 100 ? ' ' : digit(sum / 100), sum < 10 ? ' ' : digit(sum / 10 % 10),
          digit(sum % 10)};
}

}  // namespace sonic
