#include <atomic>
#include <csignal>
#include <iostream>
#include <string>

#include "base/command_line.h"
#include "simulator/options.h"
#include "simulator/simulation.h"

namespace sonic::simulator {

namespace {

constexpr const char* PROGRAM = "sonic-simulator";

std::atomic<bool> stop(false);
static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler sets it");

void on_signal(int) { stop = true; }

void print(const std::string& line) { std::cout << PROGRAM << ": " << line << std::endl; }

int run(int argc, char* argv[]) {
  const auto options = parse_options(argc, argv);
  if (!options) return 0;
  Simulation simulation(*options, options->trace ? print : nullptr);
  const std::string linked = options->link.empty() ? "" : " linked as " + options->link;
  print(simulation.path() + linked + ", " + simulation.describe());
  simulation.run(stop);
  return 0;
}

}  // namespace

}  // namespace sonic::simulator

int main(int argc, char* argv[]) {
  using namespace sonic::simulator;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, on_signal);
  std::signal(SIGPIPE, SIG_IGN);  // a reader of the trace may go away
  return sonic::run_program(PROGRAM, [&] { return run(argc, argv); });
}
