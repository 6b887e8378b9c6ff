#pragma once

#include <cstdint>
#include <string>

namespace sonic::port {

/// What the port's user has not taken yet. When it takes nothing for long, whole lines are left
/// out.
class LineQueue {
 public:
  void push(const std::string& bytes);

  /// What comes next; empty when nothing waits.
  const std::string& front() const { return bytes_; }
  void pop(size_t count);
  void clear();

  /// Lines left out since the last call.
  uint64_t take_dropped();

 private:
  std::string bytes_;
  size_t line_start_ = 0;  // of the line that is not complete yet
  bool dropping_ = false;  // that line
  uint64_t dropped_ = 0;
};

}  // namespace sonic::port
