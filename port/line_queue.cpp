#include "port/line_queue.h"

#include <algorithm>
#include <utility>

#include "terminal/framing.h"

namespace sonic::port {

namespace {

constexpr size_t MOST_BYTES = 1 << 20;  // eight minutes at 32 records a second

}  // namespace

void LineQueue::push(const std::string& bytes) {
  for (size_t start = 0, end = 0; start < bytes.size(); start = end) {
    end = std::min(bytes.find(LINE_END, start), bytes.size() - 1) + 1;
    const bool completes = bytes[end - 1] == LINE_END;
    if (!dropping_ && bytes_.size() + (end - start) > MOST_BYTES) {
      bytes_.resize(line_start_);
      dropping_ = true;
      ++dropped_;
    }
    if (!dropping_) bytes_.append(bytes, start, end - start);
    if (!completes) continue;
    line_start_ = bytes_.size();
    dropping_ = false;
  }
}

void LineQueue::pop(size_t count) {
  bytes_.erase(0, count);
  line_start_ -= std::min(line_start_, count);
}

void LineQueue::clear() { pop(bytes_.size()); }

uint64_t LineQueue::take_dropped() { return std::exchange(dropped_, 0); }

}  // namespace sonic::port
