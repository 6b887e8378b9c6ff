#pragma once

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

namespace sonic {

/// Collects what the program prints.
class Printed {
 public:
  Printed() : _before(std::cout.rdbuf(_text.rdbuf())) {}
  ~Printed() { std::cout.rdbuf(_before); }
  std::string text() const { return _text.str(); }

 private:
  std::ostringstream _text;
  std::streambuf* _before;
};

constexpr const char* NOTHING_THROWN = "nothing thrown";

/// The message of the std::exception that `action` throws.
template <typename Action>
std::string thrown_by(Action action) {
  try {
    action();
  } catch (const std::exception& e) {
    return e.what();
  }
  return NOTHING_THROWN;
}

inline std::string content(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// How many files this process has open.
inline auto open_files() {
  const std::filesystem::directory_iterator files("/proc/self/fd"), end;
  return std::distance(files, end);
}

/// `text` without its parts from `start` through `end`.
inline std::string without(std::string text, const std::string& start, const std::string& end) {
  for (size_t at = 0; (at = text.find(start, at)) != std::string::npos;) {
    text.erase(at, text.find(end, at) - at + end.size());
  }
  return text;
}

}  // namespace sonic
