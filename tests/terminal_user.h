#pragma once

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "base/descriptor.h"

namespace sonic {

/// For what takes milliseconds on a machine that is not busy.
inline constexpr std::chrono::seconds LONG_ENOUGH(20);

/// As another user of the port would, without waiting.
inline Descriptor open_terminal(const std::string& path) {
  return Descriptor(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC, 0));
}

/// Until this many bytes have arrived, or the time is over.
inline std::string read_from(int fd, size_t count, std::chrono::nanoseconds limit = LONG_ENOUGH) {
  std::string bytes;
  const auto end = std::chrono::steady_clock::now() + limit;
  while (bytes.size() < count && std::chrono::steady_clock::now() < end) {
    pollfd p{fd, POLLIN, 0};
    char block[4096];
    if (poll(&p, 1, 10) != 1) continue;
    const ssize_t n = read(fd, block, sizeof block);
    if (n > 0) bytes.append(block, static_cast<size_t>(n));
  }
  return bytes;
}

/// Whether it does in time.
template <typename Condition>
bool comes_true(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + LONG_ENOUGH;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

inline void set_speed(int fd, speed_t speed) {
  termios line{};
  tcgetattr(fd, &line);
  cfsetspeed(&line, speed);
  tcsetattr(fd, TCSANOW, &line);
}

}  // namespace sonic
