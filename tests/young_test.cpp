// The instrument's menu, its settings, baud-rate detection and the set-up against the simulated
// instrument.

#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "records/young_81000_record.h"
#include "simulator/simulation.h"
#include "support.h"
#include "young/baud_detection.h"
#include "young/young_81000_menu.h"
#include "young/young_81000_settings.h"

namespace sonic {

namespace {

using simulator::State;

class YoungTest : public ::testing::Test {
 protected:
  ~YoungTest() override {
    _stop = true;
    if (_thread.joinable()) _thread.join();
  }

  /// Starts the instrument and opens its port at the same rate.
  void instrument(State state, unsigned int baud = 38400, bool paging = false) {
    simulator::Options options;
    options.state = state;
    options.settings.baud = baud;
    options.paging = paging;
    _simulation.emplace(options);
    _port.emplace(_simulation->path(), static_cast<int>(baud), true);
    _thread = std::thread([this] { _simulation->run(_stop); });
  }

  Serial& port() { return *_port; }

  Printed _printed;

 private:
  std::optional<simulator::Simulation> _simulation;
  std::optional<Serial> _port;
  std::atomic<bool> _stop{false};
  std::thread _thread;
};

}  // namespace

TEST_F(YoungTest, MenuIsLeftUpwardsFromWithinAndWhatIsSetAlreadyIsNotChanged) {
  instrument(State::SUB);
  young_enter_interactive(port(), false);
  EXPECT_EQ(std::string::npos, _printed.text().find("WE'RE INTERACTIVE"));
  young_81000_set_error_handling(port(), "include", false);
  young_81000_set_baud_rate(port(), 38400, false);
  young_81000_set_output_rate(port(), 10, true);
  EXPECT_NE(std::string::npos, _printed.text().find("output rate already 10\n"));
  EXPECT_EQ(_printed.text().find("baud="), _printed.text().rfind("baud="));
}

TEST_F(YoungTest, SettingsAreChangedAndReadBackOnPagesInTwo) {
  instrument(State::TOP, 9600, true);
  young_81000_set_baud_rate(port(), 38400, false);
  EXPECT_EQ(38400U, young_81000_get_baud_rate(port(), false));
  young_81000_set_output_rate(port(), 32, false);
  EXPECT_EQ(32U, young_81000_get_output_rate(port(), false));
  young_81000_set_averaging(port(), 7, false);
  EXPECT_EQ(7U, young_81000_get_averaging(port(), false));
  young_81000_set_output_format(port(), false);
  EXPECT_EQ("5ABEC", young_81000_get_output_format(port(), false));
}

TEST_F(YoungTest, FirmwareVersionIsWhatFollowsToTheLastLineFeed) {
  EXPECT_EQ("1.2\nSN 3", young_81000_get_firmware_version("MODEL\nVERSION 1.2\nSN 3\nrest"));
  EXPECT_EQ("", young_81000_get_firmware_version("MODEL\nversion 1.2\n"));
}

TEST_F(YoungTest, LeavingTheMenuEndsByWhatTheInstrumentShows) {
  const std::pair<std::string, std::string> cases[] = {
      {"  1.23 -0.45 0.07 343.21 21.50 ", "nothing thrown"},
      {std::string(250, '.'), "nothing thrown"},
      {"X) EXIT TO OPERATE MODE\r", "young_exit_interactive: unable to exit interactive mode"},
      {"", "young_exit_interactive: terminated by user"},  // hung up: only the user ends it
  };
  for (const auto& [shown, outcome] : cases) {
    Pty pty;
    Serial port(pty.path(), 9600, true);
    std::thread shows([&pty, &text = shown] {
      while (pty.received().find('\r') == std::string::npos) continue;
      pty.send("\r" + text);
      if (!text.empty()) return;
      sleep(1);
      pty.hang_up();
      sleep(1);
      terminator = 1;
    });
    EXPECT_EQ(outcome, thrown_by([&] { young_exit_interactive(port, false); }));
    shows.join();
  }
  terminator = 0;
}

TEST_F(YoungTest, DetectionProvokesAnInstrumentInItsMenuAndSkipsARateThatThePortRefuses) {
  instrument(State::TOP, 9600);
  Notifier nobody;
  EXPECT_EQ(9600U, young_81000_auto_baud(nobody, {1200, 9600}, port(), young_81000_extractor,
                                         autobaud_match_strings, false));
  EXPECT_NE(std::string::npos, _printed.text().find("error: invalid baud rate: 1200\n"));
}

TEST_F(YoungTest, ReplyIsJudgedByItsFirstPrintableRun) {
  const std::pair<std::string, bool> cases[] = {{"", false},
                                                {"\x80\xff", false},
                                                {"\x01 1.0 -2.0 3.0\r", true},
                                                {"1.0 2.0 3 4.0", false},
                                                {"X) EXIT TO MAIN MENU", true},
                                                {"exit to", false},
                                                {"x\x80 1.0 2.0 3.0", false}};
  for (const auto& [reply, recognised] : cases) {
    EXPECT_EQ(recognised, young_81000_auto_baud_check(reply, young_81000_extractor,
                                                      autobaud_match_strings, false))
        << ::testing::PrintToString(reply);
  }
  EXPECT_FALSE(young_81000_auto_baud_check("EXIT TO", nullptr, autobaud_match_strings, false));
}

}  // namespace sonic
