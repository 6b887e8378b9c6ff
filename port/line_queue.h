#pragma once

#include <cstdint>
#include <string>

namespace sonic::port {

/// What the port's user has not taken yet. When it takes nothing for long, whole lines are left
/// out.
class LineQueue {
 public:
  void push(const std::string& bytes);

  /// What is next; empty when nothing waits.
  const std::string& front() const { return _bytes; }
  void pop(size_t count);
  void clear();

  /// Lines left out since the last call.
  uint64_t take_dropped();

 private:
  std::string _bytes;
  size_t _line_start = 0;  // of the line that is not complete yet
  bool _dropping = false;  // that line
  uint64_t _dropped = 0;
};

}  // namespace sonic::port
