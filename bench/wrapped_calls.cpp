#include "bench/wrapped_calls.h"

#include <fcntl.h>
#include <mosquitto.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/types.h>

#include <algorithm>
#include <cstring>

#include "app/configuration.h"

namespace sonic::bench {

std::string port_input;

}  // namespace sonic::bench

// The linker sends the calls of these names here, and those of __real_NAME to the library. Calls
// that the libraries make themselves stay as they are.
extern "C" {

int __real_open(const char* path, int flags, ...);

int __wrap_open(const char* path, int flags, ...) {
  const std::string& data = sonic::COMMON_OUTPUT_DATA_PATH;
  return __real_open(std::strncmp(path, data.c_str(), data.size()) == 0 ? "/dev/null" : path,
                     flags & ~(O_CREAT | O_NOATIME));
}

int __wrap_select(int /*nfds*/, fd_set* /*readable*/, fd_set* /*writable*/, fd_set* /*failed*/,
                  timeval* /*timeout*/) {
  return 1;
}

ssize_t __wrap_read(int /*fd*/, void* block, size_t length) {
  static size_t position = 0;
  if (position >= sonic::bench::port_input.size()) position = 0;
  const size_t n = std::min(length, sonic::bench::port_input.size() - position);
  std::memcpy(block, sonic::bench::port_input.data() + position, n);
  position += n;
  return static_cast<ssize_t>(n);
}

ssize_t __wrap_write(int /*fd*/, const void* /*bytes*/, size_t length) {
  return static_cast<ssize_t>(length);
}

int __wrap_setpriority(__priority_which_t /*which*/, id_t /*who*/, int /*value*/) { return 0; }

int __wrap_mosquitto_loop_start(mosquitto* /*client*/) { return MOSQ_ERR_SUCCESS; }

int __wrap_mosquitto_connect_async(mosquitto* /*client*/, const char* /*host*/, int /*port*/,
                                   int /*keepalive*/) {
  return MOSQ_ERR_SUCCESS;
}

int __wrap_mosquitto_publish(mosquitto* /*client*/, int* /*id*/, const char* /*topic*/,
                             int /*length*/, const void* /*payload*/, int /*qos*/,
                             bool /*retain*/) {
  return MOSQ_ERR_SUCCESS;
}
}
