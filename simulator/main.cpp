#include <atomic>
#include <csignal>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

#include "simulator/options.h"
#include "simulator/simulation.h"

namespace {

constexpr int FAILURE = 1;
constexpr int BAD_OPTION = 2;

std::atomic<bool> stop(false);
static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler sets it");

void on_signal(int) { stop = true; }

void print(const std::string& line) { std::cout << "sonic-simulator: " << line << std::endl; }

int simulate(const sonic::simulator::Options& options) {
  sonic::simulator::Simulation simulation(options, options.trace ? print : nullptr);
  const std::string linked = options.link.empty() ? "" : " linked as " + options.link;
  print(simulation.path() + linked + ", " + simulation.describe());
  simulation.run(stop);
  return 0;
}

}  // namespace

int main(int argc, char* argv[]) {
  std::signal(SIGINT, on_signal);
  std::signal(SIGTERM, on_signal);
  std::signal(SIGHUP, on_signal);
  std::signal(SIGPIPE, SIG_IGN);  // a reader of the trace may go away
  try {
    const auto options = sonic::simulator::parse_options(argc, argv);
    if (!options.help) return simulate(options);
    std::cout << sonic::simulator::help_text();
    return 0;
  } catch (const std::invalid_argument& e) {
    std::cerr << "sonic-simulator: " << e.what() << "\nTry 'sonic-simulator --help'.\n";
    return BAD_OPTION;
  } catch (const std::exception& e) {
    std::cerr << "sonic-simulator: " << e.what() << '\n';
    return FAILURE;
  }
}
