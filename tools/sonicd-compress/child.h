#pragma once

#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <utility>

namespace sonic::compress {

/// Owns a child process: one that still runs is ended with its owner.
class Child {
 public:
  explicit Child(pid_t pid = -1) : _pid(pid) {}
  Child& operator=(Child&& other) noexcept {
    std::swap(_pid, other._pid);
    return *this;
  }
  ~Child() {
    if (!is_there()) return;
    kill(_pid, SIGKILL);
    wait();
  }
  bool is_there() const { return _pid != -1; }

  /// Waits for its end and returns its status as waitpid() gives it.
  int wait() {
    int status = 0;
    while (waitpid(_pid, &status, 0) == -1 && errno == EINTR) {
    }
    _pid = -1;
    return status;
  }

 private:
  pid_t _pid;
};

}  // namespace sonic::compress
