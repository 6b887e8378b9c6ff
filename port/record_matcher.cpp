#include "port/record_matcher.h"

#include "terminal/framing.h"

namespace sonic::port {

namespace {

constexpr int NUMBERS = 5;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool is_hexadecimal(char c) {
  return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace

RecordMatcher::Verdict RecordMatcher::take(const std::string& bytes, size_t& at) {
  while (at < bytes.size()) {
    _place = next(bytes[at++]);
    if (_place == Place::END) return Verdict::COMPLETE;
    if (_place == Place::NOWHERE) return Verdict::IMPOSSIBLE;
  }
  return Verdict::POSSIBLE;
}

RecordMatcher::Place RecordMatcher::next(char c) {
  switch (_place) {
    case Place::BEFORE_NUMBER:
      if (c == ' ') return Place::BEFORE_NUMBER;
      if (c == '-') return Place::MINUS;
      return is_digit(c) ? Place::WHOLE : Place::NOWHERE;
    case Place::MINUS:
      return is_digit(c) ? Place::WHOLE : Place::NOWHERE;
    case Place::WHOLE:
      if (c == '.') return point();
      return is_digit(c) ? Place::WHOLE : Place::NOWHERE;
    case Place::POINT:
      return is_digit(c) ? Place::FRACTION : Place::NOWHERE;
    case Place::FRACTION:
    case Place::LONG_FRACTION:
      return is_digit(c) ? Place::LONG_FRACTION : after_fraction(c);
    case Place::BEFORE_DIAGNOSTIC:
      if (c == ' ') return Place::BEFORE_DIAGNOSTIC;
      return is_digit(c) ? Place::DIAGNOSTIC : Place::NOWHERE;
    case Place::DIAGNOSTIC:
      if (c == ' ') return Place::BEFORE_CHECKSUM;
      return is_digit(c) ? Place::DIAGNOSTIC : Place::NOWHERE;
    case Place::BEFORE_CHECKSUM:
      if (c == ' ') return Place::BEFORE_CHECKSUM;
      return is_hexadecimal(c) ? Place::CHECKSUM : Place::NOWHERE;
    case Place::CHECKSUM:
      return is_hexadecimal(c) ? Place::COMPLETE_CHECKSUM : Place::NOWHERE;
    case Place::COMPLETE_CHECKSUM:
      return c == LINE_END ? Place::END : Place::NOWHERE;
    case Place::END:
    case Place::NOWHERE:
      break;
  }
  return Place::NOWHERE;
}

// Numbers may touch. In "1.52.5" the 2 was the next number's already, in "1.5.5" none can have
// been.
RecordMatcher::Place RecordMatcher::after_fraction(char c) {
  if (_points == NUMBERS) return c == ' ' ? Place::BEFORE_DIAGNOSTIC : Place::NOWHERE;
  if (c == '.' && _place == Place::LONG_FRACTION) return point();
  if (c == ' ') return Place::BEFORE_NUMBER;
  return c == '-' ? Place::MINUS : Place::NOWHERE;
}

RecordMatcher::Place RecordMatcher::point() {
  ++_points;
  return Place::POINT;
}

}  // namespace sonic::port
