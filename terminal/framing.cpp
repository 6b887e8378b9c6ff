#include "terminal/framing.h"

#include <charconv>

#include "base/time.h"
#include "records/checksum.h"

namespace sonic {

namespace {

constexpr char DIGITS[] = "0123456789abcdef";

}  // namespace

std::string time_stamp(uint64_t arrival_ns) {
  char text[40];
  char* end = std::to_chars(text, std::end(text), arrival_ns / NANOSECONDS_PER_SECOND).ptr;
  char* const point = end;  // replaces a 1 that keeps the zeros after it
  end = std::to_chars(end, std::end(text),
                      NANOSECONDS_PER_SECOND + arrival_ns % NANOSECONDS_PER_SECOND)
            .ptr;
  *point = '.';
  *end++ = ',';
  const unsigned int check = xor_checksum(text, static_cast<unsigned int>(end - text));
  *end++ = DIGITS[check >> 4];
  *end++ = DIGITS[check & 0xF];
  *end++ = ',';
  return std::string(text, end);
}

}  // namespace sonic
