// Command line, privileges and priority: what runs of the whole program leave open.

#include <gtest/gtest.h>

#include "app/command_line.h"
#include "app/priority.h"
#include "support.h"

namespace sonic {

TEST(CommandLineTest, SetsWhatIsGivenOverTheDefaults) {
  const std::pair<std::vector<const char*>, config_map_t> cases[] = {
      {{}, {}},
      {{"--port", "ttyS1", "-v", "-v"}, {{"port", "ttyS1"}, {"verbose", "1"}}},
      {{"-p", "-v", "-f"}, {{"port", "-v"}}},
      {{"-r", "8", "--output-rate", "x", "-c"}, {{"output_rate", "x"}, {"console_only", "1"}}},
      {{"", "10"}, {{"iterations", "10"}}},  // -n has no long form, and an empty text equals it
  };
  for (const auto& [given, changes] : cases) {
    Printed printed;
    config_map_t expected = base_config();
    for (const auto& [key, value] : changes) expected[key] = value;
    std::vector<const char*> arguments = given;
    arguments.insert(arguments.begin(), "sonicd");
    EXPECT_EQ(expected, command_line(static_cast<int>(arguments.size()), arguments.data()));
  }
  EXPECT_EQ("1", base_config().at("fast_pub"));
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

  Priviledges stranger{SOMEBODY + 1, SOMEBODY, 0};
  stranger.lower();
  EXPECT_EQ(SOMEBODY, geteuid());
  EXPECT_EQ("Unable to raise priviledge", thrown_by([&] { stranger.raise(); }));
  EXPECT_EQ(SOMEBODY, stranger.current_id);
  ASSERT_EQ(0, seteuid(0));
}

}  // namespace sonic
