// What sonic-port carries between a real port and the one that it offers. The test is at both ends:
// it is the instrument, on a pseudo-terminal, and the user of the offered port.

#include "port/relay.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <future>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "base/time.h"
#include "serial/speeds.h"
#include "tests/support.h"
#include "tests/terminal_user.h"

namespace sonic::port {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

const std::string RECORD = "  1.23  -0.45   0.07  343.21   21.50 0 3f\r";
constexpr size_t STAMP_BYTES = sizeof("1700001000.000000000,3f,") - 1;
constexpr milliseconds QUIET(300);  // in which nothing may arrive

std::mutex log_mutex;
std::string log_text;

void log(const std::string& line) {
  const std::lock_guard<std::mutex> lock(log_mutex);
  log_text += line + "\n";
}

std::string logged() {
  const std::lock_guard<std::mutex> lock(log_mutex);
  return log_text;
}

class RelayTest : public testing::Test {
 protected:
  RelayTest() { log_text.clear(); }
  ~RelayTest() override {
    if (_outcome.valid()) outcome(true);
    for (const int fd : _stop) close(fd);
  }

  void start(bool trace = false) {
    EXPECT_EQ(0, pipe(_stop));
    _relay.emplace(Options{_instrument.path(), "", trace}, log);
    _user = open_terminal(_relay->path());
    _outcome = std::async(std::launch::async,
                          [this] { return thrown_by([this] { _relay->run(_stop[0]); }); });
  }

  // How the relay has ended: by itself, unless it is asked to.
  std::string outcome(bool ask = false) {
    if (ask) close(std::exchange(_stop[1], -1));
    if (_outcome.wait_for(LONG_ENOUGH) != std::future_status::ready) return "still running";
    std::string result = _outcome.get();
    _relay.reset();
    return result;
  }

  void send(const std::string& bytes) {
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()), write(instrument(), bytes.data(), bytes.size()));
  }
  void type(const std::string& keys) {
    ASSERT_EQ(static_cast<ssize_t>(keys.size()), write(user(), keys.data(), keys.size()));
  }
  std::string received(size_t count) { return read_from(user(), count); }
  std::string nothing_received(milliseconds limit = QUIET) { return read_from(user(), 1, limit); }
  std::string typed(size_t count) { return read_from(instrument(), count); }

  // Sends part of a line, and waits until the relay holds it: it takes what has arrived before it
  // looks for more keys.
  void send_held(const std::string& part) {
    send(part);
    for (const std::string key : {"1", "2"}) {
      type(key);
      EXPECT_EQ(key, typed(1));
    }
    EXPECT_EQ("", nothing_received(milliseconds(1)));
  }

  int user() const { return _user.get(); }
  int instrument() const { return _instrument.fd(); }
  bool has_speed(unsigned int baud) const {
    return comes_true([&] { return _instrument.speed() == baud; });
  }

  PseudoTerminal _instrument{"", 9600};
  Descriptor _user;
  std::optional<Relay> _relay;

 private:
  int _stop[2] = {-1, -1};
  std::future<std::string> _outcome;
};

}  // namespace

TEST_F(RelayTest, PassesEveryByteBothWays) {
  start();
  std::string all = "\r";
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  for (const std::string& text : {all + "\r", std::string(3000, 'x')}) {
    send(text);
    EXPECT_EQ(text, received(text.size()));
    type(text);
    EXPECT_EQ(text, typed(text.size()));
  }
}

TEST_F(RelayTest, StampsARecordWithTheArrivalOfItsFirstByte) {
  start(true);
  const uint64_t before = clock_ns();
  send_held(RECORD.substr(0, 20));
  const uint64_t between = clock_ns();
  send(RECORD.substr(20));
  const std::string seen = received(STAMP_BYTES + RECORD.size());
  EXPECT_EQ(RECORD, seen.substr(STAMP_BYTES));
  const uint64_t stamp =
      std::stoull(seen.substr(0, 10)) * NANOSECONDS_PER_SECOND + std::stoull(seen.substr(11, 9));
  EXPECT_LE(before, stamp);
  EXPECT_GE(between, stamp);
  EXPECT_TRUE(comes_true([&] {
    return logged().find("stamped " + seen.substr(0, 20) + ", ") != std::string::npos;
  })) << logged();
}

TEST_F(RelayTest, HoldsNoLineForLong) {
  start();
  send("  1.23");
  EXPECT_EQ("  1.23", read_from(user(), 6, seconds(1)));
  send(RECORD + RECORD);
  const std::string seen = received(2 * RECORD.size() + STAMP_BYTES);
  EXPECT_EQ(RECORD, seen.substr(0, RECORD.size()));  // it has become another line's rest
  EXPECT_EQ(RECORD, seen.substr(RECORD.size() + STAMP_BYTES));
}

TEST_F(RelayTest, StampsARecordWhoseRestHasComeWhileItWasBusy) {
  start(true);
  send_held(RECORD.substr(0, 20));
  {
    const std::lock_guard<std::mutex> busy(log_mutex);  // it waits to report the change of speed
    set_speed(user(), B4800);
    std::this_thread::sleep_for(QUIET);
    send(RECORD.substr(20));
  }
  EXPECT_EQ(RECORD, received(STAMP_BYTES + RECORD.size()).substr(STAMP_BYTES));
}

TEST_F(RelayTest, ChangesTheSpeedAfterTheKeysBeforeIt) {
  start(true);
  EXPECT_TRUE(has_speed(38400));  // the first that the daemon tries
  for (const unsigned int baud : {4800U, 230400U, 9600U}) {
    set_speed(user(), speed_code(baud).value());
    type("X");
    EXPECT_EQ("X", typed(1));
    EXPECT_EQ(baud, _instrument.speed());
  }
  // Keys that the device has not sent yet.
  std::string keys;
  while (true) {
    const std::string more(1000, 'k');
    const ssize_t n = write(user(), more.data(), more.size());
    if (n > 0) keys.append(static_cast<size_t>(n), 'k');
    pollfd p{user(), POLLOUT, 0};
    if (n <= 0 && poll(&p, 1, 200) != 1) break;
  }
  set_speed(user(), B38400);
  std::this_thread::sleep_for(QUIET);
  EXPECT_EQ(9600U, _instrument.speed());
  send("#\r");  // nothing else waits for them
  EXPECT_EQ("#\r", received(2));
  EXPECT_EQ(keys, typed(keys.size()));
  EXPECT_TRUE(has_speed(38400));
  set_speed(user(), B0);  // on the way to another
  type("X");
  EXPECT_EQ("X", typed(1));
  EXPECT_EQ(38400U, _instrument.speed());
  outcome(true);
  EXPECT_EQ(without(logged(), "/dev", "mode\n"), "4800 baud\n230400 baud\n9600 baud\n38400 baud\n");
}

// Such as one that puts back the settings that it found: the kernel then reports no more changes.
TEST_F(RelayTest, SeesAtOnceWhatAUserChangesWhoSetsAllSettings) {
  start();
  termios line{};
  cfmakeraw(&line);
  const auto begin = std::chrono::steady_clock::now();
  for (int round = 0; round < 5; ++round) {
    for (const unsigned int baud : {4800U, 9600U}) {
      cfsetspeed(&line, speed_code(baud).value());
      ASSERT_EQ(0, tcsetattr(user(), TCSANOW, &line));
      EXPECT_TRUE(has_speed(baud));
    }
  }
  EXPECT_GT(seconds(5), std::chrono::steady_clock::now() - begin);
}

TEST_F(RelayTest, HandsOverNothingOld) {
  start();
  const std::string part = RECORD.substr(0, 10);
  const auto reads_only_the_rest = [&] {
    EXPECT_EQ("", nothing_received());
    send(RECORD.substr(10) + RECORD);
    const std::string seen = received(RECORD.size() * 2 - 10 + STAMP_BYTES);
    EXPECT_EQ(RECORD.substr(10), seen.substr(0, RECORD.size() - 10));
    EXPECT_EQ(RECORD, seen.substr(RECORD.size() - 10 + STAMP_BYTES));
  };
  const auto hand_over_part = [&] {
    send(RECORD + part);
    int waiting = 0;
    EXPECT_TRUE(comes_true([&] {
      return ioctl(user(), FIONREAD, &waiting) == 0 &&
             static_cast<size_t>(waiting) >= RECORD.size() + STAMP_BYTES;
    }));
  };
  hand_over_part();
  tcflush(user(), TCIFLUSH);
  reads_only_the_rest();

  hand_over_part();
  _user = Descriptor();
  std::this_thread::sleep_for(QUIET);
  send(RECORD.substr(10) + part);  // nobody is there
  std::this_thread::sleep_for(QUIET);
  _user = open_terminal(_relay->path());
  reads_only_the_rest();
}

TEST_F(RelayTest, LetsTheNextUserInWhenTheLastHadThePortAlone) {
  start();
  ASSERT_EQ(0, ioctl(user(), TIOCEXCL));
  _user = Descriptor();
  std::this_thread::sleep_for(QUIET);
  _user = open_terminal(_relay->path());
  int alone = -1;
  if (ioctl(user(), TIOCGEXCL, &alone) == -1 && errno == ENOSYS) GTEST_SKIP() << "not in qemu";
  EXPECT_EQ(0, alone);
}

TEST_F(RelayTest, HasTheDeviceAloneAndGivesItBack) {
  termios found{}, left{};
  const Descriptor device = open_terminal(_instrument.path());
  tcgetattr(device.get(), &found);
  const std::string path = _instrument.path();
  start();
  EXPECT_EQ(path + " cannot be opened, 'fuser -v " + path +
                "' shows who uses it: Device or resource busy",
            thrown_by([&] { SerialDevice(path, B9600, log); }));
  tcgetattr(device.get(), &left);
  EXPECT_EQ(static_cast<tcflag_t>(IGNPAR), left.c_iflag);
  EXPECT_EQ(NOTHING_THROWN, outcome(true));
  tcgetattr(device.get(), &left);
  EXPECT_EQ(found.c_iflag, left.c_iflag);
  EXPECT_EQ(static_cast<speed_t>(B9600), cfgetospeed(&left));
  EXPECT_EQ(path + ": the driver has no low-latency mode\n", logged());
  EXPECT_NE(-1, open_terminal(path).get());
}

}  // namespace sonic::port
