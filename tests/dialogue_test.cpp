#include "young/dialogue.h"

#include <gtest/gtest.h>

#include <thread>

#include "support.h"

namespace sonic {

namespace {

class DialogueTest : public ::testing::Test {
 protected:
  /// Sends each piece after a pause, so that the program reads it by itself.
  std::thread instrument(std::vector<std::string> pieces) {
    return std::thread([this, pieces] {
      for (const auto& piece : pieces) {
        usleep(100'000);
        _pty.send(piece);
      }
    });
  }

  Printed _printed;
  Pty _pty;
  Serial _port{_pty.path(), 38400, true};
};

}  // namespace

TEST_F(DialogueTest, DelimiterIsFoundAcrossReads) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"junk EX", "IT more"}, "nothing thrown"},
      {{"xxEyy", "EX", "IT"}, "nothing thrown"},
      {{std::string("EX\0no", 5), "IT"}, "nothing thrown"},  // a block is cut at its first zero
      {{std::string(60, 'x') + "EXIT"}, "nothing thrown"},   // in the block that crosses the limit
      {{"EyEX", "IT"},
       "interactive_read_to_delimiter: TIMEOUT!!!"},  // only the first E is looked at
      {{std::string(40, 'x'), std::string(11, 'y')}, "interactive_read_to_delimiter: NO MATCH"},
  };
  for (const auto& [pieces, outcome] : cases) {
    std::thread sender = instrument(pieces);
    EXPECT_EQ(outcome,
              thrown_by([&] { interactive_read_to_delimiter(_port, "EXIT", 50, 1, 1, false); }));
    sender.join();
    _port.flush_input();
  }
}

TEST_F(DialogueTest, SendsAByteOncePerEchoAndAnswersWithWhatFollows) {
  std::thread echoing([this] {
    for (const std::string expected : {"K", "\r", "\n"}) {
      std::string key;
      while (key.empty()) key = _pty.received();
      EXPECT_EQ(expected, key);  // the next byte waits for this one's echo
      _pty.send(key);
    }
    _pty.send(std::string(200, 'a'));
  });
  _pty.send("stale");
  EXPECT_EQ(std::string(80, 'a'), interactive_transfer_wm(_port, "K", false));
  echoing.join();
  interactive_tx_ncr(_port, "", false);
  EXPECT_EQ("", interactive_rx(_port, true));  // even an empty send discards what was left
  EXPECT_EQ("baud=38400\ninteractive_rx 0 bytes\n\n", _printed.text());
}

TEST_F(DialogueTest, AMissingEchoIsTolerated) {
  interactive_tx(_port, "X", false);
  EXPECT_EQ("X\r", _pty.received());
}

}  // namespace sonic
