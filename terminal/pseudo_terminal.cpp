#include "terminal/pseudo_terminal.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>

#include "base/error.h"
#include "serial/speeds.h"

namespace sonic {

namespace {

Descriptor open_master(std::string& path) {
  Descriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!master.is_open()) throw_error(errno, {"cannot open a pseudo-terminal: "});
  char name[PATH_MAX];
  if (grantpt(master.get()) == -1 || unlockpt(master.get()) == -1) {
    throw_error(errno, {"cannot prepare the pseudo-terminal: "});
  }
  const int error = ptsname_r(master.get(), name, sizeof name);
  if (error != 0) throw_error(error, {"cannot prepare the pseudo-terminal: "});
  path = name;
  return master;
}

// The kernel reports a hang-up only after the other end has been open once.
bool open_and_close(const std::string& path) {
  return Descriptor(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)).is_open();
}

bool set_raw(int fd, unsigned int baud) {
  termios attributes;
  if (tcgetattr(fd, &attributes) == -1) return false;
  cfmakeraw(&attributes);
  if (const auto code = speed_code(baud)) cfsetspeed(&attributes, *code);
  return tcsetattr(fd, TCSANOW, &attributes) == 0;
}

}  // namespace

PseudoTerminal::PseudoTerminal(const std::string& link, unsigned int baud)
    : _descriptor(open_master(_path)) {
  if (!set_raw(fd(), baud) || !open_and_close(_path)) throw_error(errno, {_path, ": "});
  if (!link.empty()) _link.emplace(link, _path);
}

void PseudoTerminal::hang_up() {
  _link.reset();
  _descriptor = Descriptor();
}

bool PseudoTerminal::in_use() const {
  pollfd p{fd(), 0, 0};
  return poll(&p, 1, 0) != 1 || (p.revents & POLLHUP) == 0;
}

PseudoTerminal::Ready PseudoTerminal::wait(bool for_keys, bool for_room,
                                           std::chrono::milliseconds limit) const {
  const int events = (for_keys ? POLLIN : 0) | (for_room ? POLLOUT : 0);
  pollfd p{fd(), static_cast<short>(events), 0};
  if (poll(&p, 1, static_cast<int>(limit.count())) < 1) return {false, false};
  return {(p.revents & POLLIN) != 0, (p.revents & POLLOUT) != 0};
}

std::string PseudoTerminal::read() const {
  char keys[4096];
  const ssize_t count = ::read(fd(), keys, sizeof keys);
  if (count > 0) return std::string(keys, static_cast<size_t>(count));
  // EIO: the last user has just closed the other end
  if (count == 0 || errno == EAGAIN || errno == EINTR || errno == EIO) return "";
  throw_error(errno, {_path, " reading: "});
}

size_t PseudoTerminal::write(const std::string& bytes) const {
  const ssize_t count = ::write(fd(), bytes.data(), bytes.size());
  if (count >= 0) return static_cast<size_t>(count);
  if (errno == EAGAIN || errno == EINTR || errno == EIO) return 0;
  throw_error(errno, {_path, " writing: "});
}

unsigned int PseudoTerminal::speed() const {
  termios attributes;  // the kernel answers with those of the other end
  if (tcgetattr(fd(), &attributes) == -1) return 0;
  return baud_of(cfgetospeed(&attributes));
}

}  // namespace sonic
