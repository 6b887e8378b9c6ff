#pragma once

#include <cstddef>
#include <string>

namespace sonic::port {

/// Tells, as the bytes come, whether a line can still become a record as the daemon's pattern has
/// it behind the stamp: five decimal numbers, the diagnostic word, the check, the line's end.
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
    FRACTION,  // one digit behind the point
    LONG_FRACTION,
    BEFORE_DIAGNOSTIC,
    DIAGNOSTIC,
    BEFORE_CHECK,
    CHECK,  // its first digit
    COMPLETE_CHECK,
    END,
    NOWHERE
  };

  Place next(char c);
  Place behind_fraction(char c);
  Place point();

  Place _place = Place::BEFORE_NUMBER;
  int _points = 0;  // as many as numbers
};

}  // namespace sonic::port
