#pragma once

#include <regex.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sonic {

/// A compiled POSIX extended regular expression (IEEE Std 1003.1, regcomp): case-sensitive,
/// leftmost-longest; "^", "$" and "." treat a line feed as an ordinary character. A text is matched
/// up to its first zero byte.
class regex {
 public:
  /// (start, end) offsets; element 0 is the whole match, element i group i.
  using submatches = std::vector<std::pair<int, int>>;

  /// Matches nothing.
  regex() = default;
  /// Throws std::runtime_error with the regex library's message when `pattern` does not compile.
  regex(const std::string& pattern);
  virtual ~regex() = default;
  regex(const regex&) = delete;
  regex& operator=(const regex&) = delete;

  /// True when the pattern is found anywhere in `s`.
  bool is_match(const std::string& s) const;
  /// Also appends the positions to `m`, up to the first group that took no part and at most 20.
  /// Without a match `m` stays as it is.
  bool is_match(const std::string& s, submatches& m) const;

  /// The library's text for a compile error code, unless that is longer than 200 bytes.
  std::string _err(int code) const;

 private:
  struct Free {
    void operator()(regex_t* compiled) const;
  };

  void _construct();

  std::string _pattern;
  std::unique_ptr<regex_t, Free> _compiled;
};

/// A list of alternatives, tried in order.
class re {
 public:
  /// Throws as `regex` does.
  re(const std::vector<std::string>& patterns);
  virtual ~re() = default;
  re(const re&) = delete;
  re& operator=(const re&) = delete;

  /// True when any of the patterns matches; an empty list matches nothing.
  bool is_match(const std::string& s) const;

 private:
  std::vector<std::unique_ptr<regex>> _alternatives;
};

/// The part of `s` that a sub-match covers. Throws std::out_of_range when it starts beyond the end.
std::string submatch_text(const std::string& s, const std::pair<int, int>& submatch);

}  // namespace sonic
