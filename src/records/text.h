#pragma once

#include <string>
#include <vector>

#include "records/regex.h"

namespace sonic {

/// The pieces of `s` between delimiters. Empty pieces count, except a last one: "a,,b" gives
/// "a", "", "b"; "a," gives "a"; an empty text gives nothing.
std::vector<std::string> split(const std::string& s, char delimiter);

/// `s` without leading and trailing blanks, tabs, carriage returns and line feeds. STAYS.
std::string trim(std::string s);

/// `s` with every run of white space, also at its ends, written as one space. STAYS.
std::string text_collapse_whitespace_to_space(const std::string& s);

/// What stands before the first match of `r`, or all of `item` when there is none; trimmed. STAYS.
std::string text_item_cleanup(std::string item, const regex& r);

/// The first match of `r`, or all of `item` when there is none; trimmed. STAYS.
std::string text_item_substring(std::string item, const regex& r);

/// Line transforms: they lay out a record's data text as tab-separated fields. All have one
/// signature, so that an instrument's operations can name any of them.

/// Every `c` becomes a tab. The result ends before the first zero byte. STAYS.
std::string transform_x_to_tabs(const std::string& s, char c);
std::string transform_commas_to_tabs(const std::string& s);
std::string transform_semicolons_to_tabs(const std::string& s);

/// Space-separated fields to tab-separated ones: leading spaces vanish, each run of spaces becomes
/// one tab, also at the end: "  1.0  2.0 " gives "1.0\t2.0\t". A text of spaces alone gives one
/// tab. Only the space character counts.
std::string transform_strip_and_compress_spaces_to_tab(const std::string& s);

}  // namespace sonic
