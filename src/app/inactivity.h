#pragma once

#include <string>

namespace sonic {

/// Ends the program when too many waits in a row bring nothing.
class InactivityTerminator {
 public:
  InactivityTerminator(unsigned int limit, const std::string& message);

  /// Counts one idle wait and prints the count; at the limit it throws std::runtime_error with the
  /// message instead.
  void inc();
  void reset();

 private:
  unsigned int _limit;
  unsigned int _count = 0;
  std::string _message;
};

}  // namespace sonic
