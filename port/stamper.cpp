#include "port/stamper.h"

#include <algorithm>
#include <utility>

#include "terminal/framing.h"

namespace sonic::port {

namespace {

/// With a stamp, what the daemon lets wait for a line's end; it takes no longer record.
constexpr size_t LONGEST_HELD = 970;

}  // namespace

std::string Stamper::take(const std::string& bytes, uint64_t arrival_ns) {
  std::string passed;
  passed.reserve(2 * bytes.size());
  for (size_t start = 0, end = 0; start < bytes.size(); start = end) {
    if (in_other_line_) {
      end = std::min(bytes.find(LINE_END, start), bytes.size() - 1) + 1;
      passed.append(bytes, start, end - start);
      in_other_line_ = bytes[end - 1] != LINE_END;
      continue;
    }
    if (held_.empty()) arrival_ns_ = arrival_ns;
    const auto verdict = matcher_.take(bytes, end);
    const bool possible = verdict == RecordMatcher::Verdict::POSSIBLE;
    if (possible && held_.size() + (end - start) < LONGEST_HELD) {
      held_.append(bytes, start, end - start);
      break;
    }
    if (verdict == RecordMatcher::Verdict::COMPLETE) {
      passed += stamp(arrival_ns_);
      if (stamped_) stamped_(arrival_ns_);
    } else {
      in_other_line_ = bytes[end - 1] != LINE_END;
    }
    matcher_.start_over();
    passed += held_;
    passed.append(bytes, start, end - start);
    held_.clear();
  }
  return passed;
}

std::string Stamper::release() {
  in_other_line_ = in_other_line_ || is_holding();
  matcher_.start_over();
  return std::exchange(held_, "");
}

}  // namespace sonic::port
