#include "port/serial_device.h"

#include <fcntl.h>
#include <linux/serial.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "base/error.h"

namespace sonic::port {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds LAST_BYTES(1000);  // may take so long to leave, at the end
constexpr size_t BLOCK = 4096;            // as much as a terminal keeps
constexpr int LOW_LATENCY = ASYNC_LOW_LATENCY;

bool is_harmless_failure() { return errno == EAGAIN || errno == EINTR; }

}  // namespace

SerialDevice::SerialDevice(const std::string& path, speed_t speed, void (*log)(const std::string&))
    : _path(path), _fd(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
  if (_fd == -1) fail(_path, " cannot be opened");
  try {
    lock();
    if (tcgetattr(_fd, &_found) == -1) fail(_path, " is no serial port");
    try {
      set_raw(speed);
      set_low_latency(log);
    } catch (...) {
      put_back();
      throw;
    }
  } catch (...) {
    close(_fd);
    throw;
  }
}

SerialDevice::~SerialDevice() {
  put_back();
  close(_fd);
}

/// The exclusive use keeps other users out, the lock other programs of root's.
void SerialDevice::lock() const {
  if (flock(_fd, LOCK_EX | LOCK_NB) == -1) {
    errno = EBUSY;
    fail(_path, " cannot be opened");
  }
  if (ioctl(_fd, TIOCEXCL) == -1) fail(_path, " is no serial port");
}

void SerialDevice::set_raw(speed_t speed) {
  termios line = _found;
  cfmakeraw(&line);
  line.c_iflag = IGNPAR;
  line.c_cflag = CS8 | CREAD | CLOCAL;
  cfsetspeed(&line, speed);
  if (!apply(line)) fail(_path, " cannot be set up");
  tcflush(_fd, TCIFLUSH);  // came at another speed, perhaps
}

/// Without it some drivers let bytes wait for many milliseconds before they hand them over.
void SerialDevice::set_low_latency(void (*log)(const std::string&)) {
  serial_struct serial{};
  const auto is_set = [&] {
    return ioctl(_fd, TIOCGSERIAL, &serial) == 0 && (serial.flags & LOW_LATENCY) != 0;
  };
  if (is_set()) return;
  const int flags = serial.flags;
  serial.flags |= LOW_LATENCY;
  if (ioctl(_fd, TIOCSSERIAL, &serial) == 0 && is_set()) {
    _found_flags = flags;
  } else {
    log(_path + ": its driver knows no low latency");
  }
}

/// A driver may pass over a speed that it cannot make, and report success.
bool SerialDevice::apply(const termios& wanted) const {
  termios in_force{};
  if (tcsetattr(_fd, TCSANOW, &wanted) == -1 || tcgetattr(_fd, &in_force) == -1) return false;
  if (cfgetospeed(&in_force) == cfgetospeed(&wanted)) return true;
  errno = EINVAL;
  return false;
}

/// Those few are in the adapter or UART.
bool SerialDevice::has_sent() const {
  int waiting = 0;
  return ioctl(_fd, TIOCOUTQ, &waiting) == -1 || waiting == 0;
}

bool SerialDevice::set_speed(speed_t speed) {
  termios line{};
  if (TEMP_FAILURE_RETRY(tcdrain(_fd)) == -1 || tcgetattr(_fd, &line) == -1) {
    fail(_path, " is gone");
  }
  const termios before = line;
  if (cfsetspeed(&line, speed) == 0 && apply(line)) return true;
  apply(before);
  return false;
}

std::string SerialDevice::read() const {
  char bytes[BLOCK];
  const ssize_t count = ::read(_fd, bytes, sizeof bytes);
  if (count > 0) return std::string(bytes, static_cast<size_t>(count));
  if (count == -1 && is_harmless_failure()) return "";
  if (count == 0) errno = EIO;  // the line was hung up
  fail(_path, " is gone");
}

size_t SerialDevice::write(const std::string& bytes) const {
  const ssize_t count = ::write(_fd, bytes.data(), bytes.size());
  if (count >= 0) return static_cast<size_t>(count);
  if (is_harmless_failure()) return 0;
  fail(_path, " is gone");
}

/// What has not left in time never will, and the line could not be closed for half a minute.
void SerialDevice::put_back() const {
  const auto end = std::chrono::steady_clock::now() + LAST_BYTES;
  while (!has_sent() && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(milliseconds(1));
  }
  if (!has_sent()) tcflush(_fd, TCOFLUSH);
  serial_struct serial{};
  if (_found_flags != -1 && ioctl(_fd, TIOCGSERIAL, &serial) == 0) {
    serial.flags = _found_flags;
    ioctl(_fd, TIOCSSERIAL, &serial);
  }
  TEMP_FAILURE_RETRY(tcsetattr(_fd, TCSADRAIN, &_found));
  ioctl(_fd, TIOCNXCL);
}

}  // namespace sonic::port
