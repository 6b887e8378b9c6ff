#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>

struct mosquitto;

namespace sonic {

/// Calls to the broker's library, for priority and for the system's log are not made in unit tests:
/// they are printed, where Printed and transcript() find them.

/// What the next call of a name returns, where that is to fail.
extern std::map<std::string, int> call_results;

/// The folder in which the files of the logger's home directory really are opened.
extern std::string home_folder;

/// A test that has such a folder of its own.
class HomeTest : public ::testing::Test {
 protected:
  HomeTest();
  ~HomeTest() override;
};

/// What the client's library calls when it is connected, or is not.
extern void (*on_connect)(mosquitto* client, void* object, int code);

}  // namespace sonic
