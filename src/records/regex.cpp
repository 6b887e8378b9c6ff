#include "records/regex.h"

#include <array>
#include <cstring>
#include <iostream>
#include <stdexcept>

namespace sonic {

namespace {

constexpr size_t MAX_SUBMATCHES = 20;
constexpr size_t MAX_ERROR_TEXT_BYTES = 200;

}  // namespace

void regex::Free::operator()(regex_t* compiled) const {
  regfree(compiled);
  delete compiled;
}

regex::regex(const std::string& pattern) : _pattern(pattern) { _construct(); }

void regex::_construct() {
  auto compiled = std::make_unique<regex_t>();  // not to be freed by regfree unless it compiles
  const int code = regcomp(compiled.get(), _pattern.c_str(), REG_EXTENDED);
  if (code != 0) {
    std::cout << "construct: FAIL " << code << std::endl;
    throw std::runtime_error(_err(code));
  }
  _compiled.reset(compiled.release());
}

std::string regex::_err(int code) const {
  std::array<char, MAX_ERROR_TEXT_BYTES> text{};
  const size_t needed = regerror(code, _compiled.get(), text.data(), text.size());
  if (needed <= text.size()) return text.data();
  return std::string("regex error building: ") + strerror(code);
}

bool regex::is_match(const std::string& s) const {
  return _compiled && regexec(_compiled.get(), s.c_str(), 0, nullptr, 0) == 0;
}

bool regex::is_match(const std::string& s, submatches& m) const {
  std::array<regmatch_t, MAX_SUBMATCHES> found;
  if (!_compiled || regexec(_compiled.get(), s.c_str(), found.size(), found.data(), 0) != 0) {
    return false;
  }
  for (const auto& group : found) {
    if (group.rm_so == -1) break;
    m.emplace_back(group.rm_so, group.rm_eo);
  }
  return true;
}

re::re(const std::vector<std::string>& patterns) {
  for (const auto& pattern : patterns) _alternatives.push_back(std::make_unique<regex>(pattern));
}

bool re::is_match(const std::string& s) const {
  for (const auto& alternative : _alternatives) {
    if (alternative->is_match(s)) return true;
  }
  return false;
}

std::string submatch_text(const std::string& s, const std::pair<int, int>& submatch) {
  const auto [start, end] = submatch;
  return s.substr(static_cast<size_t>(start), static_cast<size_t>(end - start));
}

}  // namespace sonic
