#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <random>
#include <string>

#include "simulator/instrument.h"
#include "simulator/options.h"
#include "simulator/stream.h"
#include "terminal/pseudo_terminal.h"

namespace sonic::simulator {

/// The instrument on its line: whoever opens the port talks to it while run() runs.
class Simulation {
 public:
  using Trace = std::function<void(const std::string&)>;

  /// Makes the port; throws std::runtime_error if that fails or the recording cannot be read.
  /// `trace`, if given, is called by run() with a line for every change.
  explicit Simulation(const Options& options, Trace trace = nullptr);

  /// Of the port, such as "/dev/pts/3".
  const std::string& path() const { return terminal_.path(); }

  /// Mode and settings on one line. Not while run() runs in another thread.
  std::string describe() const { return instrument_.describe(); }

  /// Returns soon after `stop` has become true, or when the line has been hung up as ordered.
  void run(const std::atomic<bool>& stop);

 private:
  using Clock = std::chrono::steady_clock;

  void opened();
  void closed();
  void begin(bool run);
  void produce();
  void add(const Delivery& delivery);
  void happen();
  void take_keys();
  void send();
  std::chrono::milliseconds until_due() const;
  void trace(const std::string& line) const;

  const Options options_;
  const Trace trace_;
  PseudoTerminal terminal_;
  Instrument instrument_;
  Stream stream_;
  std::mt19937 garbage_;

  bool in_use_ = false;
  bool powered_ = true;
  bool silent_ = false;
  bool hung_up_ = false;
  std::string pending_;        // bytes that the line has not taken yet
  Event event_ = Event::NONE;  // happens when nothing is pending any more
  uint64_t event_ns_ = 0;
  Clock::time_point next_due_;  // time of the next sample, or of the power's return
};

}  // namespace sonic::simulator
