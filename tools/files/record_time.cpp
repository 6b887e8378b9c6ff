#include "tools/files/record_time.h"

#include <cstdio>
#include <regex>

namespace sonic {

namespace {

constexpr int64_t DAY = 86400;
constexpr int64_t ERA_DAYS = 146097;    // of 400 years, after which the calendar repeats itself
constexpr int64_t EPOCH_DAYS = 719468;  // from 0000-03-01 to 1970-01-01
constexpr size_t FRACTION_DIGITS = 9;
constexpr size_t FRACTION_AT = sizeof("2023-11-14T22:30:00.") - 1;

struct Date {
  int64_t year;
  int64_t month;  // 1 to 12
  int64_t day;    // 1 to 31
};

// Both count the years from the first of March, so that a leap day is the last day of its year.
int64_t days_since_1970(const Date& d) {
  const int64_t year = d.month > 2 ? d.year : d.year - 1;
  const int64_t year_of_era = year % 400;
  const int64_t day_of_year = (153 * ((d.month + 9) % 12) + 2) / 5 + d.day - 1;
  return year / 400 * ERA_DAYS + year_of_era * 365 + year_of_era / 4 - year_of_era / 100 +
         day_of_year - EPOCH_DAYS;
}

Date date_of(int64_t days) {
  const int64_t since_march = days + EPOCH_DAYS;
  const int64_t day = since_march % ERA_DAYS;
  const int64_t year_of_era = (day - day / 1460 + day / 36524 - day / 146096) / 365;
  const int64_t day_of_year = day - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const int64_t month = (5 * day_of_year + 2) / 153;  // 0 is March
  const int64_t year = since_march / ERA_DAYS * 400 + year_of_era + (month > 9 ? 1 : 0);
  return {year, month > 9 ? month - 9 : month + 3, day_of_year - (153 * month + 2) / 5 + 1};
}

// "25" is 250000000 nanoseconds, as after a decimal point.
uint64_t fraction(std::string digits) {
  digits.resize(FRACTION_DIGITS, '0');
  return std::stoull(digits);
}

// Seconds of an ISO time; nothing for a day or an hour that does not exist.
std::optional<uint64_t> iso_seconds(const std::smatch& match) {
  const auto number = [&](size_t group) {
    return match[group].matched ? std::stoll(match[group]) : 0LL;
  };
  const Date day = {number(1), number(2), number(3)};
  const int64_t days = days_since_1970(day);
  if (day.year < 1970 || day.month < 1 || day.month > 12 || day.day < 1) return {};
  if (date_of(days).day != day.day || number(4) > 23 || number(5) > 59 || number(6) > 59) return {};
  return static_cast<uint64_t>(days * DAY + number(4) * 3600 + number(5) * 60 + number(6));
}

}  // namespace

std::optional<uint64_t> parse_time(const std::string& text) {
  static const std::regex epoch("(\\d{1,10})(?:\\.(\\d{1,9}))?");
  static const std::regex iso(
      "(\\d{4})-(\\d\\d)-(\\d\\d)(?:[T ](\\d\\d):(\\d\\d)(?::(\\d\\d)(?:\\.(\\d{1,9}))?)?Z?)?");
  std::smatch match;
  std::optional<uint64_t> seconds;
  std::string digits;
  if (std::regex_match(text, match, epoch)) {
    seconds = std::stoull(match[1]);
    digits = match[2];
  } else if (std::regex_match(text, match, iso)) {
    seconds = iso_seconds(match);
    digits = match[7];
  }
  if (!seconds || *seconds >= END_OF_TIME_SECONDS) return {};
  return *seconds * NANOSECONDS_PER_SECOND + fraction(digits);
}

std::string_view IsoTime::text(uint64_t seconds, uint32_t nanoseconds) {
  if (seconds != _seconds) {
    const auto time = static_cast<int64_t>(seconds);
    const Date d = date_of(time / DAY);
    const auto part = [](int64_t value) { return static_cast<unsigned int>(value % 10000); };
    std::snprintf(_text, sizeof(_text), "%04u-%02u-%02uT%02u:%02u:%02u.000000000Z", part(d.year),
                  part(d.month) % 100, part(d.day) % 100, part(time / 3600 % 24) % 100,
                  part(time / 60 % 60) % 100, part(time % 60) % 100);
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

std::string seconds_text(uint64_t nanoseconds) {
  std::string digits = std::to_string(nanoseconds % NANOSECONDS_PER_SECOND);
  digits.insert(0, FRACTION_DIGITS - digits.size(), '0');
  return std::to_string(nanoseconds / NANOSECONDS_PER_SECOND) + "." + digits;
}

}  // namespace sonic
