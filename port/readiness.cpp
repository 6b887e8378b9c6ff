#include "port/readiness.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace sonic::port {

namespace {

constexpr const char* SOCKET_VARIABLE = "NOTIFY_SOCKET";
constexpr char READY[] = "READY=1";

}  // namespace

void tell_ready() {
  const char* path = std::getenv(SOCKET_VARIABLE);
  sockaddr_un address{};
  if (path == nullptr || std::string(path).size() >= sizeof address.sun_path) return;
  address.sun_family = AF_UNIX;
  std::string(path).copy(address.sun_path, sizeof address.sun_path);
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sendto(fd, READY, sizeof READY - 1, 0, reinterpret_cast<const sockaddr*>(&address),
         sizeof address);
  close(fd);
}

}  // namespace sonic::port
