#include "records/young_81000_record.h"

#include <gtest/gtest.h>

#include <sstream>

#include "records/dump.h"
#include "support.h"

namespace sonic {

namespace {

parsed_data extract(const std::string& line) {
  return young_81000_extract(line, young_81000_record_parser, false);
}

}  // namespace

TEST(RecordTest, TakesEveryFieldOfAGoodLine) {
  const parsed_data r =
      extract("1700001234.000000005,35,  0.01 -1.20 12.00 343.21 -0.50  04    29");
  EXPECT_TRUE(r.valid);
  EXPECT_EQ("1700001234.000000005,", r.ts);
  EXPECT_EQ(1700001234U, r.sec);
  EXPECT_EQ(5U, r.nsec);
  EXPECT_EQ("  0.01 -1.20 12.00 343.21 -0.50  04", r.raw);
  EXPECT_EQ(r.raw + " ", r.data);
  EXPECT_EQ(0x35U, r.ts_checksum);
  EXPECT_EQ(0x29U, r.checksum);
}

TEST(RecordTest, RejectsWithItsReason) {
  const std::string data = "1.0 1.0 1.0 1.0 1.0 0";
  const auto format = [](const std::string& line) {
    return std::pair(line, "'" + line + "' is a bad record format\n");
  };
  const std::pair<std::string, std::string> cases[] = {
      {"12.34,06," + data + " 3f", ""},
      {"12.34,06," + data + " 3F", ""},
      {"12.34,06," + data + " 3f" + std::string("\0junk\n", 6), ""},  // a zero ends the text
      {"12.34,0C," + data + " 3f",
       "timestamp checksum mismatch, ts='12.34,', got=0c, computed=06\n"},
      {"12.34,2a," + data + " 00",  // the check without the comma; both checks wrong, one reported
       "timestamp checksum mismatch, ts='12.34,', got=2a, computed=06\n"},
      {"12.34,06," + data + " 05", "checksum error: got=05, expected=3f\n"},
      format("12.34,06," + data + " 3f\r"),
      format("12.34,06," + data + " 3f\n"),
      format(" 12.34,06," + data + " 3f"),
      format("12.34,06," + data + "3f"),
      format(std::string("\0", 1) + data),
  };
  for (const auto& [line, reason] : cases) {
    Printed printed;
    EXPECT_EQ(reason.empty(), extract(line).valid) << line;
    EXPECT_EQ(reason, printed.text());
  }
  EXPECT_FALSE(extract("").valid);
}

TEST(RecordTest, ExtractorReturnsTheFirstPrintableRun) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {std::string("\0\x01OK\r\nX\x80Y", 9), "OK\r\nX"},
      {"\x7f\x1f", ""},
      {" ~\x7f", " ~"}};
  for (const auto& [bytes, text] : cases) {
    EXPECT_EQ(text, young_81000_extractor(reinterpret_cast<const unsigned char*>(bytes.data()),
                                          static_cast<unsigned int>(bytes.size()), false));
  }
}

TEST(DumpTest, RowsOfSixteen) {
  std::ostringstream out;
  dump(out,
       "\x1f ~\x7f\x30\x31\x32\x33\x34\x35\x36\x37\x38\x39"
       "ab\xff",
       17);
  dump(out, "", 0);
  EXPECT_EQ(
      "17 bytes\n"
      ". ~.0123456789ab  1f 20 7e 7f 30 31 32 33 34 35 36 37 38 39 61 62\n"
      "               .  ff\n"
      "0 bytes\n",
      out.str());
}

}  // namespace sonic
