#include "app/priority.h"

#include <sys/resource.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace sonic {

Priority::Priority(Priviledges& p, int nice) : _privileges(p), _nice(nice) {}

void Priority::set(int value) {
  _privileges.raise();
  const int result = setpriority(PRIO_PROCESS, 0, value);
  const int error = errno;
  _privileges.lower();
  if (result == -1) throw std::runtime_error(std::string("Error 'setpriority':") + strerror(error));
}

void Priority::set() { set(_nice); }

}  // namespace sonic
