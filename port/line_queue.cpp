#include "port/line_queue.h"

#include <algorithm>
#include <utility>

#include "terminal/framing.h"

namespace sonic::port {

namespace {

constexpr size_t MAX_QUEUED_BYTES = 1 << 20;  // eight minutes at 32 records a second

}  // namespace

void LineQueue::push(const std::string& bytes) {
  for (size_t start = 0, end = 0; start < bytes.size(); start = end) {
    end = std::min(bytes.find(LINE_END, start), bytes.size() - 1) + 1;
    const bool completes = bytes[end - 1] == LINE_END;
    if (!_dropping && _bytes.size() + (end - start) > MAX_QUEUED_BYTES) {
      _bytes.resize(_line_start);
      _dropping = true;
      ++_dropped;
    }
    if (!_dropping) _bytes.append(bytes, start, end - start);
    if (!completes) continue;
    _line_start = _bytes.size();
    _dropping = false;
  }
}

void LineQueue::pop(size_t count) {
  _bytes.erase(0, count);
  _line_start -= std::min(_line_start, count);
}

void LineQueue::clear() { pop(_bytes.size()); }

uint64_t LineQueue::take_dropped() { return std::exchange(_dropped, 0); }

}  // namespace sonic::port
