// What all programs share: command line, descriptors, standard streams, pseudo-terminals.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/command_line.h"
#include "base/descriptor.h"
#include "base/standard_streams.h"
#include "terminal/port_link.h"
#include "terminal/pseudo_terminal.h"
#include "tests/recorded_calls.h"
#include "tests/support.h"

namespace sonic {

namespace {

// The result of arguments: what is printed, the option's value, the other arguments.
std::string parsed(std::vector<std::string> words) {
  std::string text;
  bool flag = false;
  const CommandLine command_line = {
      "tool",
      "[OPTION]... FILE",
      "Does it.\n",
      {{"text", "TEXT", "one line\nand another", store(text)},
       {"a-longer-flag", "", "a flag", store(flag)},
       {"none", "N", "refuses",
        [](const std::string& value) { throw std::invalid_argument("'" + value + "' is none"); }}},
      "A note.\n"};
  words.insert(words.begin(), "tool");
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  Printed printed;
  std::string others = "nothing";
  std::string outcome = thrown_by([&] {
    const auto all = command_line.parse(static_cast<int>(words.size()), arguments.data());
    if (!all) return;
    others.clear();
    for (const std::string& other : *all) others += "[" + other + "]";
  });
  if (outcome != NOTHING_THROWN) return outcome;
  return printed.text() + text + (flag ? " flag " : " ") + others;
}

}  // namespace

TEST(CommandLineTest, TakesOptionsAndLeavesTheOthers) {
  struct {
    std::vector<std::string> words;
    std::string seen;
  } const cases[] = {
      {{}, " "},
      {{"a", "--text", "t", "b"}, "t [a][b]"},
      {{"--text=t", "--a-longer-flag", "--", "--text"}, "t flag [--text]"},
      {{"--text"}, "--text: needs a value"},
      {{"--a-longer-flag=1"}, "--a-longer-flag: takes no value"},
      {{"--other"}, "--other: no such option"},
      {{"-x"}, "-x: no such option"},
      {{"--none", "7"}, "--none: '7' is none"},
      {{"--version"}, "tool " VERSION "\n nothing"},
      {{"-h"},
       "Usage: tool [OPTION]... FILE\nDoes it.\n\n"
       "  --text TEXT      one line\n"
       "                   and another\n"
       "  --a-longer-flag  a flag\n"
       "  --none N         refuses\n"
       "  -h, --help       print this help\n"
       "  --version        print the version\n\nA note.\n nothing"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.seen, parsed(c.words));
  EXPECT_EQ(parsed({"-h"}), parsed({"--help"}));
}

TEST(CommandLineTest, AProgramEndsWithAStatus) {
  const auto status_of = [](const auto& error) {
    return run_program("tool", [&]() -> int { throw error; });
  };
  EXPECT_EQ(7, run_program("tool", [] { return 7; }));
  EXPECT_EQ(2, status_of(UsageError("wrong")));
  EXPECT_EQ(1, status_of(std::runtime_error("broken")));
}

TEST(DescriptorTest, HasOneOwner) {
  const auto before = open_files();
  {
    Descriptor first(open("/dev/null", O_RDONLY, 0));
    Descriptor second(std::move(first));
    EXPECT_FALSE(first.is_open());  // NOLINT(bugprone-use-after-move): that is what is asked
    EXPECT_TRUE(second.is_open());
    second = Descriptor(open("/dev/null", O_RDONLY, 0));
    EXPECT_EQ(before + 1, open_files());
  }
  EXPECT_EQ(before, open_files());
}

TEST(StandardStreamsTest, AreOpenedWhereTheyAreClosed) {
  for (const int closed : {0, 1, 2}) {
    const pid_t child = fork();
    if (child == 0) {
      for (int fd = closed; fd <= 2; ++fd) close(fd);
      open_standard_streams();
      bool are_open = true;
      for (int fd = 0; fd <= 2; ++fd) are_open = are_open && fcntl(fd, F_GETFD) != -1;
      _exit(are_open ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status) << closed;
  }
}

using PseudoTerminalTest = HomeTest;

TEST_F(PseudoTerminalTest, IsInUseWhileTheOtherEndIsOpen) {
  const std::string link = home_folder + "/port";
  PseudoTerminal terminal(link, 9600);
  EXPECT_EQ(terminal.path(), std::filesystem::read_symlink(link));
  EXPECT_FALSE(terminal.in_use());
  {
    const Descriptor user(open(link.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK, 0));
    EXPECT_TRUE(terminal.in_use());
    EXPECT_EQ(2, write(user.get(), "\r\n", 2));
    EXPECT_TRUE(terminal.wait(true, false, std::chrono::seconds(10)).readable);
    EXPECT_EQ("\r\n", terminal.read());
    EXPECT_EQ(9600U, terminal.speed());
  }
  EXPECT_FALSE(terminal.in_use());
  EXPECT_EQ("", terminal.read());
  terminal.hang_up();
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(link)));
}

TEST_F(PseudoTerminalTest, ALinkTakesThePlaceOfOneToAPseudoTerminalOnly) {
  const std::string link = home_folder + "/port";
  const std::string refused = link + ": exists and is not a link to a pseudo-terminal";
  const auto made = [&] { return thrown_by([&] { PortLink(link, "/dev/pts/7"); }); };
  std::filesystem::create_symlink("/dev/pts/6", link);
  {
    const PortLink port(link, "/dev/pts/7");
    EXPECT_EQ("/dev/pts/7", std::filesystem::read_symlink(link));
    std::filesystem::remove(link);
    std::filesystem::create_symlink("/mnt/dev/pts/6", link);  // it is another's now
  }
  EXPECT_EQ(refused, made());
  std::filesystem::remove(link);
  std::ofstream(link) << "mine";
  EXPECT_EQ(refused, made());
  EXPECT_EQ("mine", content(link));
  std::filesystem::remove(link);
  EXPECT_EQ(NOTHING_THROWN, made());
  EXPECT_FALSE(std::filesystem::exists(link));
  EXPECT_EQ(home_folder + "/no/port: No such file or directory",
            thrown_by([] { PortLink(home_folder + "/no/port", "/dev/pts/7"); }));
}

}  // namespace sonic
