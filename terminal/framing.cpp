#include "terminal/framing.h"

#include <charconv>

#include "records/checksum.h"

namespace sonic {

namespace {

constexpr char DIGITS[] = "0123456789abcdef";

}  // namespace

std::string stamp(uint64_t arrival_ns) {
  char text[40];
  char* end = std::to_chars(text, std::end(text), arrival_ns / NANOSECONDS).ptr;
  char* const point = end;  // takes the place of a 1 that keeps the zeros behind it
  end = std::to_chars(end, std::end(text), NANOSECONDS + arrival_ns % NANOSECONDS).ptr;
  *point = '.';
  *end++ = ',';
  const unsigned int check = xor_checksum(text, static_cast<unsigned int>(end - text));
  *end++ = DIGITS[check >> 4];
  *end++ = DIGITS[check & 0xF];
  *end++ = ',';
  return std::string(text, end);
}

}  // namespace sonic
