#include "records/text.h"

#include <algorithm>
#include <cctype>

namespace sonic {

namespace {

constexpr const char* TRIMMED = " \r\n\t";

bool is_space(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

}  // namespace

std::vector<std::string> split(const std::string& s, char delimiter) {
  std::vector<std::string> pieces;
  pieces.reserve(static_cast<size_t>(std::count(s.begin(), s.end(), delimiter)) + 1);
  size_t start = 0;
  for (size_t end = s.find(delimiter); end != std::string::npos; end = s.find(delimiter, start)) {
    pieces.push_back(s.substr(start, end - start));
    start = end + 1;
  }
  if (start < s.size()) pieces.push_back(s.substr(start));
  return pieces;
}

std::string trim(std::string s) {
  const size_t first = s.find_first_not_of(TRIMMED);
  if (first == std::string::npos) return "";
  s.erase(0, first);
  s.erase(s.find_last_not_of(TRIMMED) + 1);
  return s;
}

std::string text_collapse_whitespace_to_space(const std::string& s) {
  std::string result;
  bool in_run = false;
  for (const char c : s) {
    const bool space = is_space(c);
    if (!space) result += c;
    if (space && !in_run) result += ' ';
    in_run = space;
  }
  return result;
}

std::string text_item_cleanup(std::string item, const regex& r) {
  regex::submatches m;
  if (r.is_match(item, m)) item.erase(static_cast<size_t>(m[0].first));
  return trim(item);
}

std::string text_item_substring(std::string item, const regex& r) {
  regex::submatches m;
  if (r.is_match(item, m)) item = submatch_text(item, m[0]);
  return trim(item);
}

std::string transform_x_to_tabs(const std::string& s, char c) {
  std::string tabbed = s;
  std::replace(tabbed.begin(), tabbed.end(), c, '\t');
  return tabbed.substr(0, tabbed.find('\0'));
}

std::string transform_commas_to_tabs(const std::string& s) { return transform_x_to_tabs(s, ','); }

std::string transform_semicolons_to_tabs(const std::string& s) {
  return transform_x_to_tabs(s, ';');
}

std::string transform_strip_and_compress_spaces_to_tab(const std::string& s) {
  const size_t first_text = s.find_first_not_of(' ');
  std::string result;
  result.reserve(s.size());
  bool tab_written = false;
  for (size_t i = first_text == std::string::npos ? 0 : first_text; i < s.size(); ++i) {
    const bool space = s[i] == ' ';
    if (!space) result += s[i];
    if (space && !tab_written) result += '\t';
    tab_written = space;
  }
  return result;
}

}  // namespace sonic
