#include "tools/files/data_line_parser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "records/checksum.h"

namespace sonic {

namespace {

const std::string GOOD = "DATA_SONIC\t1700001000\t31250000\t1.23\t-0.45\t0.07\t343.21\t21.50\t10\t";

// Parses a line with its checksum, in memory that ends where the line does.
DataLineState parse(const std::string& text, DataLine& record) {
  static std::vector<char> line;
  const std::string whole = text + qelta_checksum(text);
  line.assign(whole.begin(), whole.end());
  line.shrink_to_fit();
  return parse_data_line({line.data(), line.size()}, record);
}

}  // namespace

TEST(DataLineParserTest, LeavesOutWhateverIsCutAndStaysWithinTheLine) {
  DataLine record;
  for (size_t length = std::string("DATA_SONIC\t").size(); length < GOOD.size(); ++length) {
    EXPECT_EQ(DataLineState::LEFT_OUT, parse(GOOD.substr(0, length), record)) << length;
  }
}

}  // namespace sonic
