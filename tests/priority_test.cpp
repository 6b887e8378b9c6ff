#include "app/priority.h"

#include <gtest/gtest.h>

#include "support.h"

namespace sonic {

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
