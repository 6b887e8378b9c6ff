#include "records/checksum.h"

#include <gtest/gtest.h>

namespace sonic {

TEST(ChecksumTest, XorCoversEveryByteAsUnsigned) {
  const std::pair<std::string, unsigned int> cases[] = {
      {"12.34,", 0x06}, {"", 0}, {"\xff", 0xff}, {std::string("\x80\0\x7f", 3), 0xff}};
  for (const auto& [text, check] : cases) {
    EXPECT_EQ(check, xor_checksum(text.data(), static_cast<unsigned int>(text.size()))) << text;
  }
  EXPECT_EQ(0U, xor_checksum(nullptr, 0));
}

TEST(ChecksumTest, QeltaCheckIsThreeCharactersWide) {
  const std::pair<std::string, std::string> cases[] = {
      {"", "  0"}, {"\x07", "  7"}, {"*", " 42"}, {"\x80\x80", "  0"}, {"\xff\xff\x01", "255"}};
  for (const auto& [text, check] : cases) EXPECT_EQ(check, qelta_checksum(text)) << text;
}

TEST(ChecksumTest, Csat3bSignature) {
  EXPECT_EQ(0x54AAU, csat3b_checksum(""));
  EXPECT_EQ(0xAAFFU, csat3b_checksum(std::string(1, '\0')));
  // low: rotl(0xFF) = 0xFF, + 0xAA + 0x80 = 0x229, cut to 0x29; high: the low before
  EXPECT_EQ(0xFF29U, csat3b_checksum(std::string("\0\x80", 2)));
}

}  // namespace sonic
