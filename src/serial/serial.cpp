#include "serial/serial.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <stdexcept>

#include "base/error.h"
#include "serial/speeds.h"

namespace sonic {

namespace {

// Bit number of a modem line.
constexpr int RTS_SHIFT = 2;
constexpr int CTS_SHIFT = 5;

// Of the last system call: nothing was there, or a signal came.
bool is_harmless_failure() { return errno == EAGAIN || errno == EINTR; }

}  // namespace

Serial::Serial(const std::string& port, int baud) : _port(port), _baud(baud) {}

// The object is complete before it opens, so that a failure runs the destructor, which closes what
// `open` left open.
Serial::Serial(const std::string& port, int baud, bool open_now) : Serial(port, baud) {
  if (open_now) open();
}

Serial::~Serial() { close(); }

std::string Serial::error(const char* what) const {
  return error_text(errno, {_port, " ", what, ": "});
}

void Serial::fail(const char* what) const { throw_error(errno, {_port, " ", what, ": "}); }

void Serial::open() {
  if (_fd != -1) throw std::runtime_error(_port + " is already open");
  _fd = ::open(_port.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  if (_fd == -1) fail("error opening");

  // Set once more, should the driver have ignored it at open.
  const int flags = fcntl(_fd, F_GETFL);
  if (flags == -1) fail("error getting status flags");
  if (fcntl(_fd, F_SETFL, flags | O_NONBLOCK) == -1) {
    fail("error setting status flags");
  }

  termios line{};
  if (tcgetattr(_fd, &line) == -1) fail("error getting line attributes");
  line.c_iflag = IGNPAR;
  line.c_oflag = 0;
  line.c_cflag = CS8 | CREAD | CLOCAL;  // no speed yet: set_baud gives it in a second change
  line.c_lflag = 0;
  if (tcsetattr(_fd, TCSANOW, &line) == -1) {
    fail("error setting line attributes");
  }
  set_baud(static_cast<unsigned int>(_baud));
}

void Serial::close() {
  if (_fd == -1) return;
  ::close(_fd);
  _fd = -1;
}

int Serial::read(void* buf, unsigned int len) {
  const ssize_t n = ::read(_fd, buf, len);
  if (n != -1) return static_cast<int>(n);
  if (is_harmless_failure()) return 0;
  fail("error reading");
}

int Serial::write(const void* buf, unsigned int len) {
  const ssize_t n = ::write(_fd, buf, len);
  if (n != -1) return static_cast<int>(n);
  if (is_harmless_failure()) return 0;
  fail("error writing");
}

void Serial::flush_input() {
  if (tcflush(_fd, TCIFLUSH) == -1) std::cout << error("error: flushing input") << std::endl;
}

void Serial::set_baud(unsigned int baud) {
  termios line{};
  if (tcgetattr(_fd, &line) == -1) fail("error getting line attributes");
  std::cout << "baud=" << baud << std::endl;
  const auto speed = speed_code(baud);
  if (!speed) {
    throw std::runtime_error(_port + " error: invalid baud rate: " + std::to_string(baud));
  }
  if (cfsetispeed(&line, *speed) == -1) {
    fail("error setting input baud rate");
  }
  if (cfsetospeed(&line, *speed) == -1) {
    fail("error setting output baud rate");
  }
  if (tcsetattr(_fd, TCSANOW, &line) == -1) {
    fail("error setting line attributes");
  }
}

int Serial::rts(int on) { return _set_state(on, TIOCM_RTS); }

int Serial::rts() {
  const int state = _get_state();
  return state == -1 ? -1 : (state & TIOCM_RTS) >> RTS_SHIFT;
}

int Serial::cts() {
  const int state = _get_state();
  return state == -1 ? -1 : (state & TIOCM_CTS) >> CTS_SHIFT;
}

int Serial::_get_state() {
  int bits = 0;
  if (ioctl(_fd, TIOCMGET, &bits) == -1) {
    std::cout << error("_get_state error") << std::endl;
    return -1;
  }
  return bits;
}

int Serial::_set_state(int on, int bits) {
  if (ioctl(_fd, on != 0 ? TIOCMBIS : TIOCMBIC, &bits) == -1) {
    std::cout << error("_set_state error") << std::endl;
    return -1;
  }
  return 0;
}

}  // namespace sonic
