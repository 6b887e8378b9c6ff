// Records and their text: splitting, patterns, checksums, the record line.

#include <gtest/gtest.h>

#include "records/checksum.h"
#include "records/dump.h"
#include "records/text.h"
#include "records/young_81000_record.h"
#include "tests/cases.h"

namespace sonic {

namespace {

const regex NUMBER("[0-9]+");

void split_at_commas(Serial&, const std::string& text, bool) {
  std::string pieces;
  for (const std::string& piece : split(text, ',')) pieces += "[" + piece + "]";
  print(pieces);
}

unsigned int exclusive_or(const std::string& text) {
  return xor_checksum(text.data(), static_cast<unsigned int>(text.size()));
}

// PATTERN | TEXT | TEXT ...: all positions, those of a text after those of the texts before it.
void match(Serial&, const std::string& texts, bool) {
  const std::vector<std::string> parts = split(texts, '|');
  const regex pattern(parts.at(0));
  regex::submatches all;
  for (size_t i = 1; i < parts.size(); ++i) pattern.is_match(parts[i], all);
  for (const auto& [start, end] : all) std::cout << start << '-' << end << std::endl;
}

const Calls TEXT_CALLS = {
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

void extract(Serial&, const std::string& line, bool verbose) {
  const parsed_data r = young_81000_extract(line, young_81000_record_parser, verbose);
  if (!r.valid) return;
  std::cout << "= ts='" << r.ts << "' sec=" << r.sec << " nsec=" << r.nsec << " raw='" << r.raw
            << "' data='" << r.data << "' checks=" << std::hex << r.ts_checksum << ' ' << r.checksum
            << std::dec << std::endl;
}

void printable(Serial&, const std::string& text, bool verbose) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  const auto length = static_cast<unsigned int>(text.size());
  print(young_81000_extractor(bytes, length, verbose));
}

void dump_text(Serial&, const std::string& text, bool) {
  dump(text.data(), static_cast<int>(text.size()));
}

const Calls RECORD_CALLS = {{"extract", extract}, {"printable", printable}, {"dump", dump_text}};

const bool CASES[] = {add_cases("Text", "text", TEXT_CALLS),
                      add_cases("Record", "records", RECORD_CALLS)};

}  // namespace

TEST(RecordTest, AnyOfSeveralPatternsMatches) {
  EXPECT_FALSE(re({}).is_match("a"));
  EXPECT_TRUE(re({"x", "a"}).is_match("a"));
}

}  // namespace sonic
