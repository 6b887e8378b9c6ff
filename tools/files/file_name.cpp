#include "tools/files/file_name.h"

#include <charconv>

#include "base/time.h"

namespace sonic {

std::optional<FileName> parse_file_name(std::string_view name) {
  uint64_t start = 0;
  const char* const end = name.data() + name.size();
  const auto [at, error] = std::from_chars(name.data(), end, start);
  if (error != std::errc() || start % SECONDS_PER_HALF_HOUR != 0) return {};
  if (end - at < 2 || *at != '.') return {};
  return FileName{start, std::string_view(at + 1, static_cast<size_t>(end - at - 1))};
}

}  // namespace sonic
