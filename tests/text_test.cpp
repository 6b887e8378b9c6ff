#include "records/text.h"

#include <gtest/gtest.h>

#include "support.h"

namespace sonic {

TEST(TextTest, SplitDropsOnlyALastEmptyPiece) {
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"", {}},          {"a,b", {"a", "b"}},      {"a,b,", {"a", "b"}},
      {",a", {"", "a"}}, {"a,,b", {"a", "", "b"}}, {",", {""}}};
  for (const auto& [text, pieces] : cases) EXPECT_EQ(pieces, split(text, ',')) << text;
}

TEST(TextTest, TrimAndCollapse) {
  EXPECT_EQ("", trim(" \t\r\n"));
  EXPECT_EQ("a \t b\v", trim("\r\na \t b\v \n"));
  EXPECT_EQ(" a b \xa0", text_collapse_whitespace_to_space("\t\r\na \v\fb \xa0"));
}

TEST(TextTest, ItemsAreCutAtOrReducedToTheMatch) {
  const regex number("[0-9]+");
  EXPECT_EQ("BAUD =", text_item_cleanup(" BAUD = 9600 !", number));
  EXPECT_EQ("none", text_item_cleanup(" none\r", number));
  EXPECT_EQ("9600", text_item_substring(" BAUD = 9600 !", number));
}

TEST(TextTest, FieldsBecomeTabSeparated) {
  const auto transform = transform_strip_and_compress_spaces_to_tab;
  EXPECT_EQ("1.0\t2.0\t", transform("   1.0  2.0 "));
  EXPECT_EQ("\t", transform("   "));
  EXPECT_EQ("a\t\tb", transform("a\t b"));  // a tab of the text's own is no run of spaces
  EXPECT_EQ(std::string("a\0\tb", 4), transform(std::string(" a\0 b", 5)));
  EXPECT_EQ("a\t\tb;", transform_commas_to_tabs("a,,b;"));
  EXPECT_EQ("a,\t", transform_semicolons_to_tabs(std::string("a,;\0;", 5)));
}

TEST(RegexTest, ReportsPositionsUpToTheFirstGroupWithoutPart) {
  const regex pattern("a(b)?(c)");
  regex::submatches m;
  EXPECT_TRUE(pattern.is_match("xabc", m));
  EXPECT_EQ((regex::submatches{{1, 4}, {2, 3}, {3, 4}}), m);
  EXPECT_FALSE(pattern.is_match("ABC", m));
  EXPECT_TRUE(pattern.is_match("ac", m));  // appended
  EXPECT_EQ((regex::submatches{{1, 4}, {2, 3}, {3, 4}, {0, 2}}), m);
}

TEST(RegexTest, LineFeedIsAnOrdinaryCharacterAndZeroEndsTheText) {
  regex::submatches m;
  EXPECT_TRUE(regex("V (.+)\n").is_match("V 1\n2\nrest", m));
  EXPECT_EQ("1\n2", submatch_text("V 1\n2\nrest", m[1]));
  EXPECT_FALSE(regex("^b").is_match("a\nb"));
  EXPECT_FALSE(regex("b").is_match(std::string("a\0b", 3)));
  EXPECT_FALSE(re({}).is_match("a"));
  EXPECT_TRUE(re({"x", "a"}).is_match("a"));
}

TEST(RegexTest, ReportsAPatternThatDoesNotCompile) {
  Printed printed;
  EXPECT_EQ("Unmatched ( or \\(", thrown_by([] { regex("(a"); }));
  EXPECT_EQ("construct: FAIL 8\n", printed.text());
}

}  // namespace sonic
