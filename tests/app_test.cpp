// The settings of a run, from its command line, and the rights with which it runs.

#include <gtest/gtest.h>

#include <iomanip>

#include "app/command_line.h"
#include "app/priority.h"
#include "tests/cases.h"
#include "tests/support.h"

namespace sonic {

namespace {

constexpr uid_t SOMEBODY = 4321;

// Shows the settings: those given, what follows from the port, the instrument's defaults.
void sonicd(Serial&, const std::string& command, bool) {
  std::istringstream words("sonicd " + command);
  std::vector<std::string> texts;
  for (std::string word; words >> std::quoted(word);) texts.push_back(word);
  std::vector<const char*> arguments;
  for (const std::string& text : texts) arguments.push_back(text.c_str());

  config_map_t settings;
  {
    Printed elsewhere;
    settings = command_line(static_cast<int>(arguments.size()), arguments.data());
    config_extend(settings);
    config_extras(settings, extra_configs);
  }
  for (const auto& [key, value] : settings) std::cout << key << "=" << value << std::endl;
}

const bool CASES = add_cases("CommandLine", "command_line", {{"sonicd", sonicd}});

}  // namespace

TEST(PriorityTest, AFailureLowersPrivilegesFirst) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become somebody who may not raise it";
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
