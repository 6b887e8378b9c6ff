// What a record cannot cost less than: the calls that the daemon owes to the port, the matcher, the
// data file and the broker, and no work of its own. floor PORT FILE TOPIC, until it is killed.

#include <fcntl.h>
#include <mosquitto.h>
#include <regex.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "records/young_81000_record.h"

namespace {

constexpr size_t SUBMATCHES = 20;
constexpr size_t BLOCK = 200;
constexpr size_t SECONDS = 10;    // digits of a stamp
constexpr size_t DATA_LINE = 66;  // bytes, typically
const std::string JSON =
    R"({ "SECONDS" : 1700002800, "NANOSECONDS" : 31250000, "u" : 2.87, "v" : -0.93, "w" : 0.08, )"
    R"("sos" : 344.03, "ts" : 21.27, "diag" : "0" })";

int open_port(const char* path) {
  const int fd = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK);
  termios line{};
  line.c_iflag = IGNPAR;
  line.c_cflag = CS8 | CREAD | CLOCAL | B38400;
  return tcsetattr(fd, TCSANOW, &line) == 0 ? fd : -1;
}

bool is_ready(int port) {
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(port, &readable);
  timeval timeout{1, 0};
  return select(port + 1, &readable, nullptr, nullptr, &timeout) > 0;
}

char* end_of_line(char* begin, char* end) {
  return static_cast<char*>(memchr(begin, '\r', static_cast<size_t>(end - begin)));
}

void publish(mosquitto* client, const std::string& topic) {
  mosquitto_publish(client, nullptr, topic.c_str(), static_cast<int>(JSON.size()), JSON.data(), 1,
                    true);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const int port = open_port(argv[1]);
  const int file = open(argv[2], O_WRONLY | O_CREAT | O_APPEND | O_NOATIME | O_CLOEXEC, 0755);
  const std::string topic = argv[3];
  const std::string fast_topic = topic + "/fast";
  regex_t pattern;
  mosquitto* client = mosquitto_new("floor", true, nullptr);
  if (port == -1 || file == -1 || client == nullptr ||
      regcomp(&pattern, sonic::young_81000_input_format.c_str(), REG_EXTENDED) != 0 ||
      mosquitto_loop_start(client) != 0 || mosquitto_connect_async(client, "::1", 1883, 60) != 0 ||
      setpriority(PRIO_PROCESS, 0, -20) == -1) {
    perror("floor");
    return 1;
  }

  char second[SECONDS] = {};
  char buffer[4 * BLOCK];
  size_t held = 0;
  for (;;) {
    if (held + BLOCK > sizeof buffer) held = 0;
    if (!is_ready(port)) continue;
    const ssize_t n = read(port, buffer + held, BLOCK);
    if (n <= 0) continue;
    held += static_cast<size_t>(n);
    char* line = buffer;
    while (char* end = end_of_line(line, buffer + held)) {
      *end = '\0';
      regmatch_t found[SUBMATCHES];
      if (regexec(&pattern, line, SUBMATCHES, found, 0) == 0) {
        if (write(file, line, DATA_LINE) == -1 || write(file, "\n", 1) == -1) return 1;
        if (memcmp(second, line, SECONDS) != 0) publish(client, topic);
        memcpy(second, line, SECONDS);
        publish(client, fast_topic);
      }
      line = end + 1;
    }
    held = static_cast<size_t>(buffer + held - line);
    memmove(buffer, line, held);
  }
}
