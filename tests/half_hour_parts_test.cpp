// What the statistics of half hours are made from: values, printed digits and planes.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>

#include "tests/support.h"
#include "tools/half_hours/decimal.h"
#include "tools/half_hours/planes.h"
#include "tools/half_hours/sample.h"

namespace sonic::records {

TEST(ValuesTest, HaveFourDigits) {
  struct {
    const char* text;
    Values values;  // u, v, w, ts, sos
  } cases[] = {
      {"1.23\t-0.45\t0.07\t343.21\t21.50\t0", {12300, -4500, 700, 215000, 3432100}},
      {"0.00004\t0.00005\t-0.00005\t-0.000049\t9.99995\t0", {0, 1, -1, 100000, 0}},
      {"099999.99994\t-99999.9\t1.0\t1.0\t1.0\t7", {999999999, -999999000, 10000, 10000, 10000}},
  };
  for (const auto& c : cases) EXPECT_EQ(c.values, parse_values(c.text)) << c.text;
  EXPECT_FALSE(parse_values("1.0\t1.0\t1.0\t1.0\t-100000.0\t0"));
  EXPECT_FALSE(parse_values("99999999999999999999.0\t1.0\t1.0\t1.0\t1.0\t0"));
}

TEST(DecimalTest, RoundsHalvesUpWhateverTheLastBit) {
  struct {
    double value;
    int digits;
    const char* text;
  } cases[] = {
      {1.00005, 4, "1.0001"},
      {-1.00005, 4, "-1.0000"},
      {1.000049999, 4, "1.0000"},
      {0.00015, 4, "0.0002"},
      {-0.00005, 4, "0.0000"},
      {-0.000051, 4, "-0.0001"},
      {-0.0, 2, "0.00"},
      {2.5, 0, "3"},
      {-0.25, 0, "0"},
      {-3.14159, 2, "-3.14"},
      {1e-9, 9, "0.000000001"},
      {999999999.995, 2, "1000000000.00"},
      {1e12, 1, "1000000000000.0"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.text, fixed_text(c.value, c.digits)) << c.value;
}

TEST(PlanesTest, AreReadFromAFit) {
  const std::string head = "from\tto\tperiods\tb0\tb1\tb2\n";
  const std::string path = testing::TempDir() + "planes";
  const auto read = [&](const std::string& text) {
    std::ofstream(path) << text;
    return read_planes(path);
  };
  const auto planes = read(head + "0\t180\t99\t0.01\t-0.02\t1e-3\n180\t360\t7\t0\t0\t0\n");
  ASSERT_EQ(2u, planes.size());
  EXPECT_EQ(180, planes[0].to);
  EXPECT_EQ(-0.02, planes[0].b1);
  EXPECT_EQ(0.001, planes[0].b2);
  const std::string no_fit = path + ": no planar fit, as sonic-plot --planar-fit writes it";
  struct {
    std::string text;
    std::string why;
  } cases[] = {
      {"", no_fit},
      {head, path + ": no plane"},
      {head + "0\t360\t9\t0\t0\tnan\n", path + ": '0\t360\t9\t0\t0\tnan' is not a plane"},
      {head + "0\t361\t9\t0\t0\t0\n", path + ": '0\t361\t9\t0\t0\t0' is not a plane"},
      {head + "0\t360\t9\t0\t0\t0 \n", path + ": '0\t360\t9\t0\t0\t0 ' is not a plane"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.why, thrown_by([&] { read(c.text); }));
}

}  // namespace sonic::records
