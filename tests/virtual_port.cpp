#include "tests/virtual_port.h"

#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <stdexcept>

#include "app/interruption.h"
#include "terminal/pseudo_terminal.h"

namespace sonic {

int end_of_transcript;

namespace {

constexpr int FOR_EVER = 600'000;  // longer than anything that ends by itself
constexpr int MAX_CALLS = 100'000;

struct VirtualPort {
  int fd;
  const Script& script;
  const Answer& answer;
  int now = 0;
  int calls = 0;
  size_t happened = 0;  // of the script
  std::string arrived{};
  bool hung_up = false;
  bool full = false;
  bool failing = false;

  bool readable() const { return hung_up || failing || !arrived.empty(); }

  // True when an interruption ends it early, as input does when that is waited for.
  bool pass_time(int length, bool for_input) {
    const int start = now;
    while (happened < script.size() && script[happened].first <= start + length) {
      const auto& [moment, what] = script[happened];
      if (moment > start && for_input && readable()) return false;
      ++happened;
      now = std::max(now, moment);
      if (what == INTERRUPT || what == SIGNAL) {
        if (what == INTERRUPT) terminator = 1;
        if (moment > start) return true;
      } else if (what == HANG_UP) {
        hung_up = true;
      } else if (what == FULL) {
        full = true;
      } else if (what == FAILURE) {
        failing = true;
      } else {
        arrived += what;
      }
    }
    if (!for_input || !readable()) now = start + length;
    return false;
  }
};

VirtualPort* current = nullptr;

void note(const std::string& word) { std::cout << word << ' '; }

int failed(int error) {
  errno = error;
  return -1;
}

std::string key_name(char key) {
  if (key == '\r') return "<CR>";
  if (key == '\n') return "<LF>";
  if (key == '\x1b') return "<ESC>";
  return std::string(1, key);
}

// Ends a program that waits for what never happens.
void limit_time() {
  if (++current->calls > MAX_CALLS || current->now > FOR_EVER) {
    throw std::runtime_error("it never ends");
  }
}

int pause(int milliseconds) {
  limit_time();
  const int start = current->now;
  const bool interrupted = current->pass_time(milliseconds, false);
  note(std::to_string(current->now - start) + "ms");
  return interrupted ? failed(EINTR) : 0;
}

int wait(int milliseconds) {
  limit_time();
  const int start = current->now;
  const bool interrupted = current->pass_time(milliseconds, true);
  if (current->now > start) note("[" + std::to_string(current->now - start) + "ms]");
  if (interrupted) return failed(EINTR);
  if (std::exchange(current->failing, false)) return failed(ENOMEM);
  if (current->hung_up) ++current->now;  // else a program that does not care would take no time
  return current->readable() ? 1 : 0;
}

}  // namespace

std::string transcript(const Script& script, const Program& program, const Answer& answer) {
  const PseudoTerminal terminal("", 38400);
  Printed opening;
  Serial serial(terminal.path(), 38400, true);
  VirtualPort port{serial.fd(), script, answer};
  Printed printed;
  current = &port;
  const std::string outcome = thrown_by([&] { program(serial); });
  current = nullptr;
  end_of_transcript = port.now;
  terminator = 0;
  if (outcome != "nothing thrown") std::cout << "! " << outcome << std::endl;
  if (!port.arrived.empty()) std::cout << port.arrived.size() << " unread" << std::endl;
  return printed.text();
}

}  // namespace sonic

// The linker sends the program's calls here, and those of __real_NAME to the library.
extern "C" {

using sonic::current;

int __real_select(int, fd_set*, fd_set*, fd_set*, timeval*);
int __real_nanosleep(const timespec*, timespec*);
ssize_t __real_read(int, void*, size_t);
ssize_t __real_write(int, const void*, size_t);
int __real_tcflush(int, int);

int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout) {
  if (current == nullptr) return __real_select(count, readable, writable, failed, timeout);
  if (count <= current->fd || !FD_ISSET(current->fd, readable))
    throw std::runtime_error("waits for another");
  return sonic::wait(static_cast<int>(timeout->tv_sec * 1000 + timeout->tv_usec / 1000));
}

int __wrap_nanosleep(const timespec* length, timespec* rest) {
  if (current == nullptr) return __real_nanosleep(length, rest);
  return sonic::pause(static_cast<int>(length->tv_sec * 1000 + length->tv_nsec / 1'000'000));
}

unsigned int __wrap_sleep(unsigned int seconds) {
  sonic::pause(static_cast<int>(seconds * 1000));
  return 0;
}

ssize_t __wrap_read(int fd, void* block, size_t length) {
  if (current == nullptr || fd != current->fd) return __real_read(fd, block, length);
  current->pass_time(0, false);
  if (!current->readable()) return sonic::failed(EAGAIN);
  const size_t n = current->arrived.copy(static_cast<char*>(block), length);
  current->arrived.erase(0, n);
  return static_cast<ssize_t>(n);
}

ssize_t __wrap_write(int fd, const void* bytes, size_t length) {
  if (current == nullptr) return __real_write(fd, bytes, length);
  if (fd != current->fd) {
    const std::string text(static_cast<const char*>(bytes), length);
    if (text != "\n") sonic::note("+" + text.substr(0, text.find('\t')));
    return __real_write(fd, bytes, length);
  }
  current->pass_time(0, false);
  if (current->hung_up) return sonic::failed(EIO);
  if (std::exchange(current->full, false)) return sonic::failed(EAGAIN);
  std::string word;
  for (const char key : std::string(static_cast<const char*>(bytes), length)) {
    word += sonic::key_name(key);
    if (current->answer) current->arrived += current->answer(key);
  }
  sonic::note(word);
  return static_cast<ssize_t>(length);
}

int __wrap_tcflush(int fd, int queue) {
  if (current == nullptr || fd != current->fd) return __real_tcflush(fd, queue);
  current->pass_time(0, false);
  if (queue == TCIFLUSH || queue == TCIOFLUSH) current->arrived.clear();
  sonic::note(queue == TCIFLUSH ? "~" : "wrong queue");
  return 0;
}
}
