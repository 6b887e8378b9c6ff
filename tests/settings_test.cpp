// Command line, settings, privileges and idle counting: the program frame short of its wiring.

#include <gtest/gtest.h>

#include "app/command_line.h"
#include "app/configuration.h"
#include "app/inactivity.h"
#include "app/priority.h"
#include "support.h"

namespace sonic {

namespace {

config_map_t parsed(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "sonicd");
  return command_line(static_cast<int>(arguments.size()), arguments.data());
}

}  // namespace

TEST(CommandLineTest, SetsWhatIsGivenOverTheDefaults) {
  const config_map_t defaults = base_config();
  const struct {
    std::vector<const char*> arguments;
    config_map_t changes;
  } cases[] = {
      {{}, {}},
      {{"-p", "ttyS1"}, {{"port", "ttyS1"}}},
      {{"--port", "ttyS1", "-v", "-v"}, {{"port", "ttyS1"}, {"verbose", "1"}}},
      {{"-p", "-v", "-f"}, {{"port", "-v"}}},
      {{"-r", "8", "--output-rate", "x", "-c"}, {{"output_rate", "x"}, {"console_only", "1"}}},
      {{"", "10"},
       {{"iterations", "10"}}},  // -n has no long form, and an empty text is equal to it
  };
  for (const auto& c : cases) {
    Printed printed;
    config_map_t expected = defaults;
    for (const auto& [key, value] : c.changes) expected[key] = value;
    EXPECT_EQ(expected, parsed(c.arguments));
  }
  EXPECT_EQ("1", defaults.at("fast_pub"));
}

TEST(CommandLineTest, TracesAndRefuses) {
  Printed printed;
  EXPECT_EQ("Missing argument for '-n'", thrown_by([] { parsed({"-v", "-p", "x", "-n"}); }));
  EXPECT_EQ(
      "argc=5\n"
      "i=1, -v\nid='verbose', arg=0\nid 'verbose' -> '1'\n"
      "i=2, -p\nid='port', arg=1\nid 'port' -> 'x'\n"
      "i=4, -n\nid='iterations', arg=1\n",
      printed.text());
  EXPECT_EQ("Unknown option 'ttyS1'", thrown_by([] { parsed({"ttyS1"}); }));
}

TEST(ConfigurationTest, DerivesFromThePortAndReplaces) {
  config_map_t settings = {{"port", "ttyS2"}, {"topic_status_will", "x"}, {"SONIC_ID", "x"}};
  config_extend(settings);
  config_extras(settings, extra_configs);
  const config_map_t expected = {
      {"PREFERRED_BAUD_RATE", "38400"},
      {"PREFERRED_OUTPUT_RATE", "32"},
      {"SONIC_ID", "young_81000_v"},
      {"SONIC_TYPE", "YOUNG_81000"},
      {"dev_port", "/dev/ttyS2"},
      {"instrument", "RM Young 81000 V"},
      {"port", "ttyS2"},
      {"sonic_info_file", "/home/qelta/device/ttyS2.json"},
      {"sys_port", "/sys/class/tty/ttyS2/sonic_type"},
      {"topic", "/home/qelta/device/port/2"},
      {"topic_fast", "/home/qelta/device/port/2/fast"},
      {"topic_status", "/home/qelta/device/port/2/status"},
      {"topic_status_will", "Disconnected"},
  };
  EXPECT_EQ(expected, settings);
}

TEST(ConfigurationTest, ServesThreePortsByTheirBareNames) {
  for (const auto& [port, message] : config_map_t{{"", "Port not specified"},
                                                  {"ttyS1", "nothing thrown"},
                                                  {"ttyS3", "map::at"},
                                                  {"ttyS4", "nothing thrown"},
                                                  {"/dev/ttyS1", "map::at"}}) {
    config_map_t settings = {{"port", port}};
    EXPECT_EQ(message, thrown_by([&] { config_extend(settings); })) << port;
  }
}

TEST(InactivityTest, EndsAtTheLimitOfWaitsInARow) {
  Printed printed;
  InactivityTerminator idle(3, "gone");
  idle.inc();
  idle.inc();
  idle.reset();
  idle.inc();
  idle.inc();
  EXPECT_EQ("gone", thrown_by([&] { idle.inc(); }));
  EXPECT_EQ("timeout=1\ntimeout=2\ntimeout=1\ntimeout=2\n", printed.text());
}

TEST(PriorityTest, AFailureLowersPrivilegesFirst) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become somebody who may not raise it";
  constexpr uid_t SOMEBODY = 4321;
  ASSERT_EQ(0, seteuid(SOMEBODY));
  Printed printed;
  Priviledges same{SOMEBODY, SOMEBODY, SOMEBODY};  // started as the device user
  EXPECT_EQ("Error 'setpriority':Permission denied", thrown_by([&] { Priority(same, -20).set(); }));
  EXPECT_EQ("raise user to 4321\nlower user to 4321\n", printed.text());
  ASSERT_EQ(0, seteuid(0));

  Priviledges root{0, SOMEBODY, 0};
  root.lower();
  EXPECT_EQ(SOMEBODY, geteuid());
  root.raise();
  EXPECT_EQ(0U, geteuid());
  Priviledges stranger{SOMEBODY + 1, SOMEBODY, 0};
  stranger.lower();
  EXPECT_EQ("Unable to raise priviledge", thrown_by([&] { stranger.raise(); }));
  EXPECT_EQ(SOMEBODY, stranger.current_id);
  ASSERT_EQ(0, seteuid(0));
}

}  // namespace sonic
