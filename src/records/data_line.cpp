#include "records/data_line.h"

#include <algorithm>

#include "records/checksum.h"

namespace sonic {

namespace {

constexpr size_t TYPICAL_DATA_LINE = 128;
constexpr int NUMBERS = 5;  // with a decimal point: u, v, w, sos, ts
constexpr int MAX_SECONDS_DIGITS = 10;
constexpr int MAX_NANOSECONDS_DIGITS = 9;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// Whether one or more digits stand at `p`, and then `end`; if so, `p` is behind that.
bool take_digits(const char*& p, char end) {
  if (!is_digit(*p)) return false;
  while (is_digit(*++p)) {
  }
  return *p++ == end;
}

bool take_integer(const char*& p, int max_digits, uint64_t& value) {
  const char* const first = p;
  value = 0;
  for (; is_digit(*p) && p - first < max_digits; ++p) {
    value = value * 10 + static_cast<uint64_t>(*p - '0');
  }
  return p != first && *p++ == '\t';
}

bool take_number(const char*& p) {
  if (*p == '-') ++p;
  return take_digits(p, '.') && take_digits(p, '\t');
}

}  // namespace

std::string data_line(uint64_t seconds, uint64_t nanoseconds, const std::string& values) {
  std::string line;
  line.reserve(TYPICAL_DATA_LINE);
  line.append(DATA_LINE).append(std::to_string(seconds)).append("\t");
  line.append(std::to_string(nanoseconds)).append("\t").append(values);
  line += qelta_checksum(line);
  return line;
}

data_line_state read_data_line(std::string_view line, data_line_t& record) {
  if (line.size() < DATA_LINE.size() + QELTA_WIDTH) return data_line_state::failed;
  const size_t checked = line.size() - QELTA_WIDTH;
  const qelta_check check = qelta_check_of(line.data(), checked);
  const char* const end = line.data() + checked;
  if (!std::equal(check.begin(), check.end(), end)) return data_line_state::failed;

  const char* p = line.data() + DATA_LINE.size();
  uint64_t seconds = 0;
  uint64_t nanoseconds = 0;
  if (!take_integer(p, MAX_SECONDS_DIGITS, seconds) || seconds >= DATA_LINE_END_OF_TIME ||
      !take_integer(p, MAX_NANOSECONDS_DIGITS, nanoseconds)) {
    return data_line_state::left_out;
  }
  const char* const values = p;
  for (int i = 0; i < NUMBERS; ++i) {
    if (!take_number(p)) return data_line_state::left_out;
  }
  const char* const diag = p;
  if (!take_digits(p, '\t') || p != end) return data_line_state::left_out;
  record.seconds = seconds;
  record.nanoseconds = static_cast<uint32_t>(nanoseconds);
  record.values = std::string_view(values, static_cast<size_t>(p - 1 - values));
  record.has_fault = std::any_of(diag, p - 1, [](char c) { return c != '0'; });
  return data_line_state::good;
}

}  // namespace sonic
