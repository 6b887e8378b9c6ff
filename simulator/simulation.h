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

/// The instrument on its line. A program that opens the port talks to it while run() runs.
class Simulation {
 public:
  using Trace = std::function<void(const std::string&)>;

  /// Makes the port; throws std::runtime_error if that fails or the recording cannot be read.
  /// `trace`, if given, is called by run() with a line for every change.
  explicit Simulation(const Options& options, Trace trace = nullptr);

  /// Of the port, such as "/dev/pts/3".
  const std::string& path() const { return _terminal.path(); }

  /// Mode and settings on one line. Not while run() runs in another thread.
  std::string describe() const { return _instrument.describe(); }

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

  const Options _options;
  const Trace _trace;
  PseudoTerminal _terminal;
  Instrument _instrument;
  Stream _stream;
  std::mt19937 _garbage;

  bool _in_use = false;
  bool _powered = true;
  bool _silent = false;
  bool _hung_up = false;
  std::string _pending;        // bytes that the line has not taken yet
  Event _event = Event::NONE;  // happens when nothing is pending any more
  uint64_t _event_ns = 0;
  Clock::time_point _next_due;  // time of the next sample, or of the power's return
};

}  // namespace sonic::simulator
