#include "app/priority.h"

#include <sys/resource.h>

#include <cerrno>

#include "base/error.h"

namespace sonic {

Priority::Priority(Priviledges& p, int nice) : _privileges(p), _nice(nice) {}

void Priority::set(int value) {
  int error = 0;
  with_raised_privileges(_privileges, [&] {
    if (setpriority(PRIO_PROCESS, 0, value) == -1) error = errno;
  });
  if (error != 0) throw_error(error, {"Error 'setpriority':"});
}

void Priority::set() { set(_nice); }

}  // namespace sonic
