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

constexpr milliseconds MAX_DRAIN(1000);  // may take so long to leave, at the end
constexpr size_t BLOCK_BYTES = 4096;     // as much as a terminal keeps
constexpr int LOW_LATENCY = ASYNC_LOW_LATENCY;

bool is_harmless_failure() { return errno == EAGAIN || errno == EINTR; }

bool all_sent(int fd) {
  int waiting = 0;
  return ioctl(fd, TIOCOUTQ, &waiting) == -1 || waiting == 0;
}

[[noreturn]] void throw_busy(const std::string& path) {
  throw_error(EBUSY, {path, " cannot be opened, 'fuser -v ", path, "' shows who uses it: "});
}

// The exclusive use keeps other users out, the lock other programs of root's.
Descriptor open_device(const std::string& path) {
  Descriptor device(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!device.is_open() && errno == EBUSY) throw_busy(path);
  if (!device.is_open()) throw_error(errno, {path, " cannot be opened: "});
  if (flock(device.get(), LOCK_EX | LOCK_NB) == -1) throw_busy(path);
  if (ioctl(device.get(), TIOCEXCL) == -1) throw_error(errno, {path, " is not a serial port: "});
  return device;
}

}  // namespace

SerialDevice::FoundSettings::FoundSettings(int device, const std::string& path) : fd(device) {
  if (tcgetattr(fd, &line) == -1) throw_error(errno, {path, " is not a serial port: "});
}

// What has not left in time never will, and the line could not be closed for half a minute.
SerialDevice::FoundSettings::~FoundSettings() {
  const auto end = std::chrono::steady_clock::now() + MAX_DRAIN;
  while (!all_sent(fd) && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(milliseconds(1));
  }
  if (!all_sent(fd)) tcflush(fd, TCOFLUSH);
  serial_struct serial{};
  if (flags != -1 && ioctl(fd, TIOCGSERIAL, &serial) == 0) {
    serial.flags = flags;
    ioctl(fd, TIOCSSERIAL, &serial);
  }
  TEMP_FAILURE_RETRY(tcsetattr(fd, TCSADRAIN, &line));
  ioctl(fd, TIOCNXCL);
}

SerialDevice::SerialDevice(const std::string& path, speed_t speed, void (*log)(const std::string&))
    : _path(path), _descriptor(open_device(path)), _found(fd(), path) {
  set_raw(speed);
  set_low_latency(log);
}

void SerialDevice::set_raw(speed_t speed) {
  termios line = _found.line;
  cfmakeraw(&line);
  line.c_iflag = IGNPAR;
  line.c_cflag = CS8 | CREAD | CLOCAL;
  cfsetspeed(&line, speed);
  if (!apply(line)) throw_error(errno, {_path, " cannot be set up: "});
  tcflush(fd(), TCIFLUSH);  // perhaps received at another speed
}

// Without it some drivers let bytes wait for many milliseconds before they hand them over.
void SerialDevice::set_low_latency(void (*log)(const std::string&)) {
  serial_struct serial{};
  const auto is_set = [&] {
    return ioctl(fd(), TIOCGSERIAL, &serial) == 0 && (serial.flags & LOW_LATENCY) != 0;
  };
  if (is_set()) return;
  const int flags = serial.flags;
  serial.flags |= LOW_LATENCY;
  if (ioctl(fd(), TIOCSSERIAL, &serial) == 0 && is_set()) {
    _found.flags = flags;
  } else {
    log(_path + ": the driver has no low-latency mode");
  }
}

// A driver may pass over a speed that it cannot make, and report success.
bool SerialDevice::apply(const termios& wanted) const {
  termios in_force{};
  if (tcsetattr(fd(), TCSANOW, &wanted) == -1 || tcgetattr(fd(), &in_force) == -1) return false;
  if (cfgetospeed(&in_force) == cfgetospeed(&wanted)) return true;
  errno = EINVAL;
  return false;
}

// TIOCOUTQ counts the kernel's buffer only, not the FIFO of the adapter or UART.
bool SerialDevice::has_sent() const { return all_sent(fd()); }

bool SerialDevice::set_speed(speed_t speed) {
  termios line{};
  if (TEMP_FAILURE_RETRY(tcdrain(fd())) == -1 || tcgetattr(fd(), &line) == -1) {
    throw_error(errno, {_path, " is gone: "});
  }
  const termios before = line;
  if (cfsetspeed(&line, speed) == 0 && apply(line)) return true;
  apply(before);
  return false;
}

std::string SerialDevice::read() const {
  char bytes[BLOCK_BYTES];
  const ssize_t count = ::read(fd(), bytes, sizeof bytes);
  if (count > 0) return std::string(bytes, static_cast<size_t>(count));
  if (count == -1 && is_harmless_failure()) return "";
  if (count == 0) errno = EIO;  // the line was hung up
  throw_error(errno, {_path, " is gone: "});
}

size_t SerialDevice::write(const std::string& bytes) const {
  const ssize_t count = ::write(fd(), bytes.data(), bytes.size());
  if (count >= 0) return static_cast<size_t>(count);
  if (is_harmless_failure()) return 0;
  throw_error(errno, {_path, " is gone: "});
}

}  // namespace sonic::port
