#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "tools/files/input.h"

namespace sonic {

/// Cuts an input into lines, in a fixed amount of memory.
class LineReader {
 public:
  explicit LineReader(Input& input);

  /// The next line without its line feed, nothing at the end. It is valid until the next call. The
  /// last line may lack a line feed. Of a line that is longer than any that the daemon writes there
  /// is its beginning only.
  std::optional<std::string_view> next();

 private:
  bool read_more();

  Input& _input;
  std::vector<char> _buffer;
  size_t _begin = 0;  // of what is not yet handed out
  size_t _end = 0;
  bool _is_inside_long_line = false;
};

}  // namespace sonic
