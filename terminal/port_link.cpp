#include "terminal/port_link.h"

#include <limits.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>

#include "base/error.h"

namespace sonic {

namespace {

constexpr const char* PSEUDO_TERMINALS = "/dev/pts/";

// Empty: no symbolic link.
std::string target_of(const std::string& link) {
  char target[PATH_MAX];
  const ssize_t length = readlink(link.c_str(), target, sizeof target);
  return length == -1 ? "" : std::string(target, static_cast<size_t>(length));
}

bool make(const std::string& terminal, const std::string& path) {
  return symlink(terminal.c_str(), path.c_str()) == 0;
}

}  // namespace

PortLink::PortLink(const std::string& path, const std::string& terminal)
    : _path(path), _terminal(terminal) {
  if (make(terminal, path)) return;
  if (errno != EEXIST) throw_error(errno, {path, ": "});
  if (target_of(path).rfind(PSEUDO_TERMINALS, 0) != 0) {
    throw std::runtime_error(path + ": exists and is not a link to a pseudo-terminal");
  }
  const std::string aside = path + "." + std::to_string(getpid());
  if (!make(terminal, aside)) throw_error(errno, {aside, ": "});
  if (std::rename(aside.c_str(), path.c_str()) == 0) return;
  const int error = errno;
  unlink(aside.c_str());
  errno = error;
  throw_error(errno, {path, ": "});
}

PortLink::~PortLink() {
  if (target_of(_path) == _terminal) unlink(_path.c_str());
}

}  // namespace sonic
