#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "port/record_matcher.h"

namespace sonic::port {

/// Puts stamps before the records in what an instrument sends and changes nothing else. It holds
/// a line back only as long as the line may become a record.
class Stamper {
 public:
  /// `stamped`, if given, is called for each record with its stamp's time.
  explicit Stamper(std::function<void(uint64_t)> stamped = nullptr)
      : _stamped(std::move(stamped)) {}

  /// Takes what one read brought and returns what may go on.
  std::string take(const std::string& bytes, uint64_t arrival_ns);

  bool is_holding() const { return !_held.empty(); }

  /// What is held, unstamped. The rest of its line will get no stamp either.
  std::string release();

 private:
  std::function<void(uint64_t)> _stamped;
  RecordMatcher _matcher;
  std::string _held;            // from the beginning of its line
  uint64_t _arrival_ns = 0;     // of the first byte held
  bool _in_other_line = false;  // one that cannot be a record
};

}  // namespace sonic::port
