#include "tools/files/line_reader.h"

#include <cstring>

namespace sonic {

namespace {

constexpr size_t MAX_LINE_BYTES = 256 << 10;  // the daemon's longest line has about 1200 bytes

}  // namespace

LineReader::LineReader(Input& input) : _input(input), _buffer(MAX_LINE_BYTES) {}

// False at the end of the input, or when the buffer is full.
bool LineReader::read_more() {
  std::memmove(_buffer.data(), _buffer.data() + _begin, _end - _begin);
  _end -= _begin;
  _begin = 0;
  if (_end == MAX_LINE_BYTES) return false;
  const size_t n = _input.read(_buffer.data() + _end, MAX_LINE_BYTES - _end);
  _end += n;
  return n != 0;
}

std::optional<std::string_view> LineReader::next() {
  size_t searched = 0;
  for (;;) {
    char* const from = _buffer.data() + _begin;
    const size_t size = _end - _begin;
    const void* const feed = std::memchr(from + searched, '\n', size - searched);
    size_t length = size;
    if (feed != nullptr) {
      length = static_cast<size_t>(static_cast<const char*>(feed) - from);
      _begin += length + 1;
    } else {
      searched = size;
      if (read_more()) continue;
      if (_end == 0) return {};
      _begin = _end;  // the last line, or one that is too long
    }
    const bool is_rest = _is_inside_long_line;
    _is_inside_long_line = feed == nullptr && _end == MAX_LINE_BYTES;
    if (!is_rest) return std::string_view(feed != nullptr ? from : _buffer.data(), length);
    searched = 0;
  }
}

}  // namespace sonic
