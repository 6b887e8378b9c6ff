#include <fcntl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

#include "port/options.h"
#include "port/readiness.h"
#include "port/relay.h"

namespace {

constexpr int FAILURE = 1;
constexpr int BAD_OPTION = 2;

void print(const std::string& line) { std::cout << "sonic-port: " << line << std::endl; }

/// The device would take the place of a standard stream that is closed, and the instrument would
/// get what is printed.
void open_standard_streams() {
  int fd = 0;
  while ((fd = open("/dev/null", O_RDWR)) >= 0 && fd <= STDERR_FILENO) continue;
  close(fd);
}

/// Can be read when the program shall end.
int stop_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return signalfd(-1, &signals, SFD_CLOEXEC);
}

int relay(const sonic::port::Options& options) {
  const int stop = stop_signals();
  sonic::port::Relay relay(options, print);
  const std::string linked = options.link.empty() ? "" : " linked as " + options.link;
  print(relay.path() + linked + " for " + options.device);
  sonic::port::tell_ready();
  relay.run(stop);
  return 0;
}

}  // namespace

int main(int argc, char* argv[]) {
  open_standard_streams();
  std::signal(SIGPIPE, SIG_IGN);  // a reader of the trace may go away
  try {
    const auto options = sonic::port::parse_options(argc, argv);
    if (!options.help) return relay(options);
    std::cout << sonic::port::HELP_TEXT;
    return 0;
  } catch (const std::invalid_argument& e) {
    std::cerr << "sonic-port: " << e.what() << "\nTry 'sonic-port --help'.\n";
    return BAD_OPTION;
  } catch (const std::exception& e) {
    std::cerr << "sonic-port: " << e.what() << '\n';
    return FAILURE;
  }
}
