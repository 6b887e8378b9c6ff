// Reads a terminal and takes the time, nothing else: how late a stamp must be.
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>

int main(int, char** argv) {
  const int line = open(argv[1], O_RDONLY | O_NOCTTY);
  char bytes[4096];
  for (ssize_t n = 0; (n = read(line, bytes, sizeof bytes)) > 0;) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::printf("%" PRId64 "%09ld %zd\n", static_cast<int64_t>(now.tv_sec), now.tv_nsec, n);
  }
}
