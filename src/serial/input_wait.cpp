#include "serial/input_wait.h"

#include <sys/select.h>

#include <cerrno>

namespace sonic {

int wait_for_input(int fd, time_t seconds) {
  if (fd < 0 || fd >= FD_SETSIZE) {
    errno = fd < 0 ? EBADF : EMFILE;
    return -1;
  }
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(fd, &readable);
  timeval timeout{};
  timeout.tv_sec = seconds;
  return select(fd + 1, &readable, nullptr, nullptr, &timeout);
}

}  // namespace sonic
