#include "tools/files/data_line_parser.h"

#include <algorithm>

#include "records/checksum.h"
#include "records/line_tags.h"

namespace sonic {

namespace {

constexpr int NUMBERS = 5;  // with a decimal point: u, v, w, sos, ts
constexpr int MAX_SECONDS_DIGITS = 10;
constexpr int MAX_NANOSECONDS_DIGITS = 9;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// The columns of a line, from left to right. Each operation passes what it takes, and says whether
// it was there.
class Columns {
 public:
  Columns(const char* begin, const char* end) : _at(begin), _end(end) {}

  const char* at() const { return _at; }
  bool is_at_end() const { return _at == _end; }

  bool take_integer(int max_digits, uint64_t& value) {
    const char* const first = _at;
    value = 0;
    for (; _at != _end && is_digit(*_at) && _at - first < max_digits; ++_at) {
      value = value * 10 + static_cast<uint64_t>(*_at - '0');
    }
    return _at != first && take('\t');
  }

  bool take_number() {
    take('-');
    return take_digits('.') && take_digits('\t');
  }

  // One or more digits, and `end` after them.
  bool take_digits(char end) {
    const char* const first = _at;
    while (_at != _end && is_digit(*_at)) ++_at;
    return _at != first && take(end);
  }

 private:
  bool take(char c) {
    if (_at == _end || *_at != c) return false;
    ++_at;
    return true;
  }

  const char* _at;
  const char* const _end;
};

}  // namespace

DataLineState parse_data_line(std::string_view line, DataLine& record) {
  if (line.size() < DATA_TAG.size() + 1 + QELTA_WIDTH) return DataLineState::FAILED;
  const size_t checked = line.size() - QELTA_WIDTH;
  const qelta_check check = qelta_check_of(line.data(), checked);
  const char* const end = line.data() + checked;
  if (!std::equal(check.begin(), check.end(), end)) return DataLineState::FAILED;

  Columns columns(line.data() + DATA_TAG.size() + 1, end);
  uint64_t seconds = 0;
  uint64_t nanoseconds = 0;
  if (!columns.take_integer(MAX_SECONDS_DIGITS, seconds) || seconds >= END_OF_TIME_SECONDS ||
      !columns.take_integer(MAX_NANOSECONDS_DIGITS, nanoseconds)) {
    return DataLineState::LEFT_OUT;
  }
  const char* const values = columns.at();
  for (int i = 0; i < NUMBERS; ++i) {
    if (!columns.take_number()) return DataLineState::LEFT_OUT;
  }
  const char* const diag = columns.at();
  if (!columns.take_digits('\t') || !columns.is_at_end()) return DataLineState::LEFT_OUT;
  const char* const last_tab = columns.at() - 1;
  record.seconds = seconds;
  record.nanoseconds = static_cast<uint32_t>(nanoseconds);
  record.values = std::string_view(values, static_cast<size_t>(last_tab - values));
  record.has_fault = std::any_of(diag, last_tab, [](char c) { return c != '0'; });
  return DataLineState::GOOD;
}

}  // namespace sonic
