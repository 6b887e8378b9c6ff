#include "serial/serial.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>

#include "port/serial_device.h"
#include "serial/input_wait.h"
#include "terminal/pseudo_terminal.h"
#include "tests/support.h"

namespace sonic {

namespace {

// As the system's own tool sees it.
bool has_speed(const std::string& path, unsigned int rate) {
  return system(("test $(stty -F " + path + " speed) = " + std::to_string(rate)).c_str()) == 0;
}

}  // namespace

TEST(SerialTest, OpensRawAtItsRateAndOnlyOnce) {
  Printed printed;
  const PseudoTerminal pty("", 38400);
  Serial port(pty.path(), 9600, true);
  termios line{};
  ASSERT_EQ(0, tcgetattr(port.fd(), &line));
  EXPECT_EQ(static_cast<tcflag_t>(IGNPAR), line.c_iflag);
  EXPECT_EQ(0U, line.c_oflag);
  EXPECT_EQ(0U, line.c_lflag);
  EXPECT_EQ(static_cast<tcflag_t>(CS8 | CREAD | CLOCAL),
            line.c_cflag & ~static_cast<tcflag_t>(CBAUD));
  EXPECT_EQ(static_cast<speed_t>(B9600), cfgetospeed(&line));
  EXPECT_NE(0, fcntl(port.fd(), F_GETFL) & O_NONBLOCK);

  EXPECT_EQ(pty.path() + " is already open", thrown_by([&] { port.open(); }));
  EXPECT_EQ(6U, pty.write(std::string("\0\xff\r\n\x03\x11", 6)));
  char block[8];
  EXPECT_EQ(6, port.read(block, sizeof block));
  EXPECT_EQ(std::string("\0\xff\r\n\x03\x11", 6), std::string(block, 6));
  EXPECT_EQ(0, port.read(block, sizeof block));
  EXPECT_EQ(3, port.write("\x1b\n\r", 3));
  pty.wait(true, false, std::chrono::seconds(1));
  EXPECT_EQ("\x1b\n\r", pty.read());

  port.close();
  port.close();
  EXPECT_EQ(-1, port.fd());
  port.open();
  EXPECT_NE(-1, port.fd());
}

TEST(SerialTest, AcceptsItsRatesAndNoOther) {
  const PseudoTerminal pty("", 38400);
  Printed printed;
  Serial port(pty.path(), 38400, true);
  const auto set = [&](unsigned int rate) { return thrown_by([&] { port.set_baud(rate); }); };
  for (const unsigned int rate : {2400U, 4800U, 9600U, 19200U, 38400U, 57600U, 115200U, 230400U}) {
    EXPECT_EQ("nothing thrown", set(rate));
    EXPECT_TRUE(has_speed(pty.path(), rate)) << rate;
    EXPECT_NE(std::string::npos, printed.text().find("\nbaud=" + std::to_string(rate) + "\n"));
  }
  for (const unsigned int rate : {0U, 1200U, 460800U}) {
    EXPECT_EQ(pty.path() + " error: invalid baud rate: " + std::to_string(rate), set(rate));
  }
  EXPECT_TRUE(has_speed(pty.path(), 230400));
}

TEST(SerialTest, NamesThePortInEveryFailure) {
  Printed printed;
  Serial port("/dev/null", 9600, false);
  EXPECT_EQ(-1, port.rts());
  EXPECT_EQ(-1, port.rts(1));
  port.flush_input();
  EXPECT_EQ(
      "/dev/null _get_state error: Bad file descriptor\n"
      "/dev/null _set_state error: Bad file descriptor\n"
      "/dev/null error: flushing input: Bad file descriptor\n",
      printed.text());
  EXPECT_EQ("/dev/null error getting line attributes: Inappropriate ioctl for device",
            thrown_by([&] { port.open(); }));
  EXPECT_NE(-1, port.fd());  // kept until it is closed
}

TEST(SerialTest, RefusesToWaitForADescriptorThatSelectCannotWatch) {
  EXPECT_EQ(-1, wait_for_input(FD_SETSIZE, 0));
  EXPECT_EQ(EMFILE, errno);
  EXPECT_EQ(-1, wait_for_input(-1, 0));
  EXPECT_EQ(EBADF, errno);
}

TEST(SerialTest, LeavesNothingOpen) {
  const PseudoTerminal pty("", 38400);
  Printed printed;
  const auto before = open_files();
  EXPECT_NE("nothing thrown", thrown_by([] { Serial("/dev/null", 9600, true); }));
  EXPECT_EQ(before, open_files());
  { Serial(pty.path(), 9600, true); }
  EXPECT_EQ(before, open_files());
}

TEST(SerialDeviceTest, RefusesWhatIsNoSerialPort) {
  const auto opened = [](const std::string& path) {
    return thrown_by([&] { port::SerialDevice(path, B9600, nullptr); });
  };
  EXPECT_EQ("/dev/null is not a serial port: Inappropriate ioctl for device", opened("/dev/null"));
  EXPECT_EQ("/dev/none cannot be opened: No such file or directory", opened("/dev/none"));
}

}  // namespace sonic
