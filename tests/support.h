#pragma once

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "app/interruption.h"

namespace sonic {

/// Collects what the program prints.
class Printed {
 public:
  Printed() : _before(std::cout.rdbuf(_text.rdbuf())) {}
  ~Printed() { std::cout.rdbuf(_before); }
  std::string text() const { return _text.str(); }

 private:
  std::ostringstream _text;
  std::streambuf* _before;
};

/// The message of the std::exception that `action` throws.
template <typename Action>
std::string thrown_by(Action action) {
  try {
    action();
  } catch (const std::exception& e) {
    return e.what();
  }
  return "nothing thrown";
}

/// A pseudo-terminal: the program under test opens `path`, the test plays the instrument.
class Pty {
 public:
  Pty() : _master(posix_openpt(O_RDWR | O_NOCTTY)) {
    if (_master == -1 || grantpt(_master) != 0 || unlockpt(_master) != 0) {
      throw std::runtime_error("no pseudo-terminal");
    }
    termios raw{};
    tcgetattr(_master, &raw);
    cfmakeraw(&raw);
    tcsetattr(_master, TCSANOW, &raw);
  }
  ~Pty() { hang_up(); }

  std::string path() const { return ptsname(_master); }
  void hang_up() {
    if (_master != -1) close(_master);
    _master = -1;
  }

  void send(const std::string& bytes) {
    for (size_t done = 0; done < bytes.size();) {
      const ssize_t n = write(_master, bytes.data() + done, bytes.size() - done);
      if (n < 0) throw std::runtime_error("the pseudo-terminal takes no bytes");
      done += static_cast<size_t>(n);
    }
  }

  /// What the program has sent so far.
  std::string received() {
    std::string text;
    char block[256];
    for (pollfd p{_master, POLLIN, 0}; poll(&p, 1, 50) > 0 && (p.revents & POLLIN) != 0;) {
      const ssize_t n = read(_master, block, sizeof block);
      if (n <= 0) break;
      text.append(block, static_cast<size_t>(n));
    }
    return text;
  }

 private:
  int _master;
};

}  // namespace sonic
