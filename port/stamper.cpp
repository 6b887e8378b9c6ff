#include "port/stamper.h"

#include <algorithm>
#include <utility>

#include "terminal/framing.h"

namespace sonic::port {

namespace {

// With a stamp, what the daemon lets wait for a line's end; it takes no longer record.
constexpr size_t MAX_HELD_BYTES = 970;

}  // namespace

std::string Stamper::take(const std::string& bytes, uint64_t arrival_ns) {
  std::string passed;
  passed.reserve(2 * bytes.size());
  for (size_t start = 0, end = 0; start < bytes.size(); start = end) {
    if (_in_other_line) {
      end = std::min(bytes.find(LINE_END, start), bytes.size() - 1) + 1;
      passed.append(bytes, start, end - start);
      _in_other_line = bytes[end - 1] != LINE_END;
      continue;
    }
    if (_held.empty()) _arrival_ns = arrival_ns;
    const auto verdict = _matcher.take(bytes, end);
    const bool possible = verdict == RecordMatcher::Verdict::POSSIBLE;
    if (possible && _held.size() + (end - start) < MAX_HELD_BYTES) {
      _held.append(bytes, start, end - start);
      break;
    }
    if (verdict == RecordMatcher::Verdict::COMPLETE) {
      passed += time_stamp(_arrival_ns);
      if (_stamped) _stamped(_arrival_ns);
    } else {
      _in_other_line = bytes[end - 1] != LINE_END;
    }
    _matcher.start_over();
    passed += _held;
    passed.append(bytes, start, end - start);
    _held.clear();
  }
  return passed;
}

std::string Stamper::release() {
  _in_other_line = _in_other_line || is_holding();
  _matcher.start_over();
  return std::exchange(_held, "");
}

}  // namespace sonic::port
