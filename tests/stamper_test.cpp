#include "port/stamper.h"

#include <gtest/gtest.h>

#include "port/framing.h"

namespace sonic::port {
namespace {

constexpr uint64_t ARRIVAL = 1700002800 * NANOSECONDS + 5;
const std::string RECORD = "  1.23  -0.45   0.07  343.21   21.50 0 3f\r";

TEST(StamperTest, StampsRecordsAndNothingElse) {
  const std::string stamped = "1700002800.000000005,3b,";
  const struct {
    std::string line;
    bool is_record;
  } cases[] = {
      {RECORD, true},
      {"1.52.5-3.54.55.5 12   aF\r", true},  // numbers may touch
      {"-1.5 1.5 1.5 1.5 1.5  0 00\r", true},
      {"1.5.5 1.5 1.5 1.5 1.5 0 00\r", false},
      {"1.5 1.5 1.5 1.5 1.5 1.5 0 00\r", false},
      {"1.5 1.5 1.5 1.5 0 00\r", false},
      {"1.5 1.5 1.5 1.5 1.50 00\r", false},
      {"1.5 1.5 1.5 1.5 1.5 0 000\r", false},
      {"1.5 1.5 1.5 1.5 1.5 0 0g\r", false},
      {"1.5 1.5 1.5 1.5 1.5 -1 00\r", false},
      {"\n" + RECORD, false},
      {"#" + RECORD, false},
      {stamped + RECORD, false},
      {" 1) INCLUDE\r", false},
  };
  Stamper stamper;
  for (const auto& c : cases) {
    EXPECT_EQ((c.is_record ? stamped : "") + c.line, stamper.take(c.line, ARRIVAL)) << c.line;
  }
}

TEST(StamperTest, HoldsOnlyWhatMayBecomeARecord) {
  Stamper stamper;
  EXPECT_EQ("NUM OF SAMP TO AVG:\r", stamper.take("NUM OF SAMP TO AVG:\r 1", 1));
  EXPECT_EQ(" 1 ", stamper.take(" ", 2));
  EXPECT_EQ("? \r", stamper.take("? \r 1.5", 3));
  EXPECT_EQ(" 1.5", stamper.release());
  EXPECT_EQ(" 1.5 1.5 1.5 1.5 0 00\r", stamper.take(" 1.5 1.5 1.5 1.5 0 00\r", 4));
  EXPECT_EQ("", stamper.take(RECORD.substr(0, 9), 5));
  EXPECT_EQ(stamp(5) + RECORD + "X", stamper.take(RECORD.substr(9) + "X", 6));
  const std::string endless(10000, ' ');
  EXPECT_EQ("\r" + endless, stamper.take("\r" + endless, 7));
}

}  // namespace
}  // namespace sonic::port
