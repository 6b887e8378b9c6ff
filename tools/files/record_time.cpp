#include "tools/files/record_time.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>

namespace sonic {

namespace {

namespace chrono = std::chrono;

constexpr size_t FRACTION_DIGITS = 9;
constexpr size_t MAX_SECONDS_DIGITS = 10;
constexpr size_t FRACTION_AT = sizeof("2023-11-14T22:30:00.") - 1;

// The text of a time, from left to right. Each operation passes what it takes, and says whether it
// was there.
class TimeText {
 public:
  explicit TimeText(std::string_view text) : _text(text) {}

  bool is_at_end() const { return _text.empty(); }

  bool take(std::string_view any_of) {
    if (_text.empty() || any_of.find(_text.front()) == std::string_view::npos) return false;
    _text.remove_prefix(1);
    return true;
  }

  // A number with at least `least` and at most `most` digits.
  template <typename Number>
  bool take_number(size_t least, size_t most, Number& number) {
    const size_t digits = std::min(_text.find_first_not_of("0123456789"), _text.size());
    if (digits < least || digits > most) return false;
    std::from_chars(_text.data(), _text.data() + digits, number);
    _text.remove_prefix(digits);
    return true;
  }

  // What follows a decimal point, in nanoseconds. It may be missing, with its point.
  bool take_fraction(uint64_t& nanoseconds) {
    nanoseconds = 0;
    if (!take(".")) return true;
    const size_t before = _text.size();
    if (!take_number(1, FRACTION_DIGITS, nanoseconds)) return false;
    for (size_t digits = before - _text.size(); digits < FRACTION_DIGITS; ++digits) {
      nanoseconds *= 10;
    }
    return true;
  }

 private:
  std::string_view _text;
};

struct Time {
  uint64_t seconds = 0;
  uint64_t nanoseconds = 0;
};

bool parse_seconds(TimeText text, Time& time) {
  return text.take_number(1, MAX_SECONDS_DIGITS, time.seconds) &&
         text.take_fraction(time.nanoseconds) && text.is_at_end();
}

bool parse_iso(TimeText text, Time& time) {
  int year = 0;
  unsigned int month = 0;
  unsigned int day = 0;
  if (!text.take_number(4, 4, year) || !text.take("-") || !text.take_number(2, 2, month) ||
      !text.take("-") || !text.take_number(2, 2, day)) {
    return false;
  }
  const chrono::year_month_day date{chrono::year(year), chrono::month(month), chrono::day(day)};
  if (!date.ok() || year < 1970) return false;
  unsigned int hour = 0;
  unsigned int minute = 0;
  unsigned int second = 0;
  if (text.take("T ")) {
    if (!text.take_number(2, 2, hour) || !text.take(":") || !text.take_number(2, 2, minute)) {
      return false;
    }
    if (text.take(":") &&
        (!text.take_number(2, 2, second) || !text.take_fraction(time.nanoseconds))) {
      return false;
    }
    text.take("Z");
  }
  if (!text.is_at_end() || hour > 23 || minute > 59 || second > 59) return false;
  const auto since_1970 = chrono::sys_days(date).time_since_epoch() + chrono::hours(hour) +
                          chrono::minutes(minute) + chrono::seconds(second);
  time.seconds = static_cast<uint64_t>(chrono::seconds(since_1970).count());
  return true;
}

}  // namespace

std::optional<uint64_t> parse_time(std::string_view text) {
  Time time;
  if (!parse_seconds(TimeText(text), time) && !parse_iso(TimeText(text), time)) return {};
  if (time.seconds >= END_OF_TIME_SECONDS) return {};
  return time.seconds * NANOSECONDS_PER_SECOND + time.nanoseconds;
}

std::string_view IsoTime::text(uint64_t seconds, uint32_t nanoseconds) {
  if (seconds != _seconds) {
    const chrono::sys_seconds time{chrono::seconds(seconds)};
    const auto day = chrono::floor<chrono::days>(time);
    const chrono::year_month_day date(day);
    const chrono::hh_mm_ss clock(time - day);
    std::snprintf(_text, sizeof(_text), "%04u-%02u-%02uT%02u:%02u:%02u.000000000Z",
                  static_cast<unsigned int>(static_cast<int>(date.year())) % 10000,
                  static_cast<unsigned int>(date.month()) % 100,
                  static_cast<unsigned int>(date.day()) % 100,
                  static_cast<unsigned int>(clock.hours().count()) % 100,
                  static_cast<unsigned int>(clock.minutes().count()) % 100,
                  static_cast<unsigned int>(clock.seconds().count()) % 100);
    _seconds = seconds;
  }
  for (size_t i = FRACTION_DIGITS; i-- > 0; nanoseconds /= 10) {
    _text[FRACTION_AT + i] = static_cast<char>('0' + nanoseconds % 10);
  }
  return {_text, sizeof(_text) - 1};
}

std::string iso_text(uint64_t nanoseconds) {
  IsoTime time;
  return std::string(time.text(nanoseconds / NANOSECONDS_PER_SECOND,
                               static_cast<uint32_t>(nanoseconds % NANOSECONDS_PER_SECOND)));
}

std::string iso_seconds_text(uint64_t seconds) {
  IsoTime time;
  std::string text(time.text(seconds, 0));
  return text.replace(FRACTION_AT - 1, FRACTION_DIGITS + 1, "");
}

std::string seconds_text(uint64_t nanoseconds) {
  std::string digits = std::to_string(nanoseconds % NANOSECONDS_PER_SECOND);
  digits.insert(0, FRACTION_DIGITS - digits.size(), '0');
  return std::to_string(nanoseconds / NANOSECONDS_PER_SECOND) + "." + digits;
}

}  // namespace sonic
