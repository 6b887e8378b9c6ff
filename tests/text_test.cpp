#include "records/text.h"

#include <gtest/gtest.h>

#include "cases.h"
#include "records/checksum.h"

namespace sonic {

namespace {

template <typename Function>
Call shown(Function of) {
  return [=](Serial&, const std::string& text, bool) { print(of(text)); };
}

void split_at_commas(Serial&, const std::string& text, bool) {
  std::string pieces;
  for (const std::string& piece : split(text, ',')) pieces += "[" + piece + "]";
  print(pieces);
}

unsigned int exclusive_or(const std::string& text) {
  return xor_checksum(text.data(), static_cast<unsigned int>(text.size()));
}

/// PATTERN | TEXT | TEXT ...: all positions, those of a text behind those of the ones before it.
void match(Serial&, const std::string& texts, bool) {
  const std::vector<std::string> parts = split(texts, '|');
  const regex pattern(parts.at(0));
  regex::submatches all;
  for (size_t i = 1; i < parts.size(); ++i) pattern.is_match(parts[i], all);
  for (const auto& [start, end] : all) std::cout << start << '-' << end << std::endl;
}

const regex NUMBER("[0-9]+");

const Calls CALLS = {
    {"split", split_at_commas},
    {"trim", shown(trim)},
    {"collapse", shown(text_collapse_whitespace_to_space)},
    {"before_number",
     shown([](const std::string& item) { return text_item_cleanup(item, NUMBER); })},
    {"number", shown([](const std::string& item) { return text_item_substring(item, NUMBER); })},
    {"spaces_to_tab", shown(transform_strip_and_compress_spaces_to_tab)},
    {"commas_to_tabs", shown(transform_commas_to_tabs)},
    {"semicolons_to_tabs", shown(transform_semicolons_to_tabs)},
    {"match", match},
    {"xor", shown(exclusive_or)},
    {"qelta", shown(qelta_checksum)},
    {"csat3b", shown(csat3b_checksum)},
};

}  // namespace

TEST(TextTest, Cases) { play("text", CALLS); }

TEST(RegexTest, AnyOfSeveralPatternsMatches) {
  EXPECT_FALSE(re({}).is_match("a"));
  EXPECT_TRUE(re({"x", "a"}).is_match("a"));
}

}  // namespace sonic
