#include "base/error.h"

#include <cstring>
#include <stdexcept>

namespace sonic {

std::string error_text(int error, std::initializer_list<std::string_view> message) {
  std::string text;
  for (const std::string_view part : message) text += part;
  return text + strerror(error);
}

void throw_error(int error, std::initializer_list<std::string_view> message) {
  throw std::runtime_error(error_text(error, message));
}

}  // namespace sonic
