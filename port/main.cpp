#include <sys/signalfd.h>
#include <systemd/sd-daemon.h>

#include <csignal>
#include <iostream>
#include <string>

#include "base/command_line.h"
#include "base/standard_streams.h"
#include "port/options.h"
#include "port/relay.h"

namespace sonic::port {

namespace {

constexpr const char* PROGRAM = "sonic-port";

void print(const std::string& line) { std::cout << PROGRAM << ": " << line << std::endl; }

// Readable when the program should stop.
int stop_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return signalfd(-1, &signals, SFD_CLOEXEC);
}

int run(int argc, char* argv[]) {
  const auto options = parse_options(argc, argv);
  if (!options) return 0;
  const int stop = stop_signals();
  Relay relay(*options, print);
  const std::string linked = options->link.empty() ? "" : " linked as " + options->link;
  print(relay.path() + linked + " for " + options->device);
  sd_notify(0, "READY=1");  // what needs the port is started after that
  relay.run(stop);
  return 0;
}

}  // namespace

}  // namespace sonic::port

int main(int argc, char* argv[]) {
  sonic::open_standard_streams();
  std::signal(SIGPIPE, SIG_IGN);  // a reader of the trace may go away
  return sonic::run_program(sonic::port::PROGRAM, [&] { return sonic::port::run(argc, argv); });
}
