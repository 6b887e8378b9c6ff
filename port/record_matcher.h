#pragma once

#include <cstddef>
#include <string>

namespace sonic::port {

/// Finds out, as the bytes arrive, whether a line can still become a record as the daemon's pattern
/// has it after the stamp: five decimal numbers, the diagnostic word, the checksum, the line's end.
class RecordMatcher {
 public:
  enum class Verdict { POSSIBLE, COMPLETE, IMPOSSIBLE };

  /// Goes on with a line, from `at` to where it is decided or `bytes` end, and moves `at` there.
  Verdict take(const std::string& bytes, size_t& at);

  /// For the next line.
  void start_over() { *this = RecordMatcher(); }

 private:
  /// What stood last.
  enum class Place {
    BEFORE_NUMBER,  // a space, or nothing yet
    MINUS,
    WHOLE,  // digits before the point
    POINT,
    FRACTION,  // one digit after the point
    LONG_FRACTION,
    BEFORE_DIAGNOSTIC,
    DIAGNOSTIC,
    BEFORE_CHECKSUM,
    CHECKSUM,  // its first digit
    COMPLETE_CHECKSUM,
    END,
    NOWHERE
  };

  Place next(char c);
  Place after_fraction(char c);
  Place point();

  Place _place = Place::BEFORE_NUMBER;
  int _points = 0;  // as many as numbers
};

}  // namespace sonic::port
