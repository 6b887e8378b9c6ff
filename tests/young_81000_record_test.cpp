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
  for (const std::string check : {"29", "   29"}) {
    const parsed_data r =
        extract("1700001234.000000005,35,  0.01 -1.20 12.00 343.21 -0.50  04 " + check);
    EXPECT_TRUE(r.valid);
    EXPECT_EQ("1700001234.000000005,", r.ts);
    EXPECT_EQ(1700001234U, r.sec);
    EXPECT_EQ(5U, r.nsec);
    EXPECT_EQ("  0.01 -1.20 12.00 343.21 -0.50  04", r.raw);
    EXPECT_EQ(r.raw + " ", r.data);
    EXPECT_EQ(0x35U, r.ts_checksum);
    EXPECT_EQ(0x29U, r.checksum);
  }
}

TEST(RecordTest, RejectsWithItsReason) {
  const std::string data = "1.0 1.0 1.0 1.0 1.0 0";
  const auto format = [](const std::string& line) {
    return "'" + line + "' is a bad record format\n";
  };
  const struct {
    std::string line;
    std::string printed;
  } cases[] = {
      {"", ""},
      {"12.34,06," + data + " 3f", ""},
      {"12.34,06," + data + " 3F", ""},
      {"12.34,06," + data + " 3f" + std::string("\0junk\n", 6), ""},  // a zero ends the text
      {"12.34,0C," + data + " 3f",
       "timestamp checksum mismatch, ts='12.34,', got=0c, computed=06\n"},
      {"12.34,2a," + data + " 00",  // the check without the comma; both checks wrong, one reported
       "timestamp checksum mismatch, ts='12.34,', got=2a, computed=06\n"},
      {"12.34,06," + data + " 05", "checksum error: got=05, expected=3f\n"},
      {"12.34,06," + data + " 3f\r", format("12.34,06," + data + " 3f\r")},
      {"12.34,06," + data + " 3f\n", format("12.34,06," + data + " 3f\n")},
      {" 12.34,06," + data + " 3f", format(" 12.34,06," + data + " 3f")},
      {"12.34,06,1.0 " + data + " 3f", format("12.34,06,1.0 " + data + " 3f")},
      {"12.34,06,1.0 1.0 1.0 1.0 0 3f", format("12.34,06,1.0 1.0 1.0 1.0 0 3f")},
      {"12.34,06," + data + "3f", format("12.34,06," + data + "3f")},
      {std::string("\0", 1) + data, format(std::string("\0", 1) + data)},
      {"12.34,06,\xff", format("12.34,06,\xff")},
  };
  for (const auto& c : cases) {
    Printed printed;
    const bool valid = extract(c.line).valid;
    EXPECT_EQ(c.printed, printed.text());
    EXPECT_EQ(!c.line.empty() && c.printed.empty(), valid) << c.line;
  }
}

TEST(RecordTest, ATimeStampThatFitsNoNumberIsThrown) {
  EXPECT_EQ("stoull",
            thrown_by([] { extract("99999999999999999999999.0,2e,1.0 1.0 1.0 1.0 1.0 0 3f"); }));
}

TEST(RecordTest, VerboseTracesEveryStep) {
  Printed printed;
  young_81000_extract("12.34,06,1.0 1.0 1.0 1.0 1.0 0 3f", young_81000_record_parser, true);
  const std::string text = printed.text();
  EXPECT_EQ(0U, text.find("33 bytes\n"));
  EXPECT_EQ(
      "b='12.34,06,1.0 1.0 1.0 1.0 1.0 0 3f'\n sec=12\n nsec=34\n raw='1.0 1.0 1.0 1.0 1.0 0'\n"
      " data='1.0 1.0 1.0 1.0 1.0 0 '\n checksum=3f\nchksum cmp: received=3f, computed=3f\n",
      text.substr(text.find("b='")));
}

TEST(RecordTest, ExtractorReturnsTheFirstPrintableRun) {
  const struct {
    std::string bytes;
    std::string text;
  } cases[] = {
      {"", ""},
      {std::string("\0\x01OK\r\nX\x80Y", 9), "OK\r\nX"},
      {"\x7f\x1f", ""},
      {" ~\x7f", " ~"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.text, young_81000_extractor(reinterpret_cast<const unsigned char*>(c.bytes.data()),
                                            static_cast<unsigned int>(c.bytes.size()), false));
  }
}

TEST(DumpTest, RowsOfSixteen) {
  const std::string bytes = "\x1f ~\x7f" + std::string("0123456789ab\xff");
  std::ostringstream out;
  dump(out, bytes.data(), 17);
  dump(out, bytes.data(), 0);
  EXPECT_EQ(
      "17 bytes\n"
      ". ~.0123456789ab  1f 20 7e 7f 30 31 32 33 34 35 36 37 38 39 61 62\n"
      "               .  ff\n"
      "0 bytes\n",
      out.str());
}

}  // namespace sonic
