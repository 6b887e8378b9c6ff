#include "serial/serial.h"

#include <gtest/gtest.h>

#include "support.h"

namespace sonic {

TEST(SerialTest, OpensRawAtItsRateAndOnlyOnce) {
  Printed printed;
  Pty pty;
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
  pty.send(std::string("\0\xff\r\n\x03\x11", 6));
  char block[8];
  EXPECT_EQ(6, port.read(block, sizeof block));
  EXPECT_EQ(std::string("\0\xff\r\n\x03\x11", 6), std::string(block, 6));
  EXPECT_EQ(0, port.read(block, sizeof block));
  EXPECT_EQ(3, port.write("\x1b\n\r", 3));
  EXPECT_EQ("\x1b\n\r", pty.received());

  port.close();
  port.close();
  EXPECT_EQ(-1, port.fd());
  port.open();
  EXPECT_NE(-1, port.fd());
}

TEST(SerialTest, AcceptsItsRatesAndNoOther) {
  Pty pty;
  Printed printed;
  Serial port(pty.path(), 38400, true);
  for (const unsigned int rate : {0U, 1200U, 460800U}) {
    EXPECT_EQ(pty.path() + " error: invalid baud rate: " + std::to_string(rate),
              thrown_by([&] { port.set_baud(rate); }));
  }
  termios line{};
  ASSERT_EQ(0, tcgetattr(port.fd(), &line));
  EXPECT_EQ(static_cast<speed_t>(B38400), cfgetospeed(&line));
  port.set_baud(230400);
  EXPECT_EQ("baud=38400\nbaud=0\nbaud=1200\nbaud=460800\nbaud=230400\n", printed.text());
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

}  // namespace sonic
