#include "base/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

namespace sonic {

void open_standard_streams() {
  int fd = 0;
  while ((fd = open("/dev/null", O_RDWR)) >= 0 && fd <= STDERR_FILENO) continue;
  if (fd != -1) close(fd);
}

}  // namespace sonic
