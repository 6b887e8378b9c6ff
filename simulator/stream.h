#pragma once

#include <cstdint>
#include <fstream>

#include "simulator/instrument.h"
#include "simulator/options.h"
#include "simulator/port_driver.h"
#include "simulator/wind.h"

namespace sonic::simulator {

/// What the port sends in operate mode, sample by sample: wind through the instrument and
/// the port driver, or a recording.
class Stream {
 public:
  /// Keeps a reference to `instrument`. Throws std::runtime_error if the recording cannot be read.
  Stream(const Options& options, Instrument& instrument);

  /// From the beginning. Only a run has faults, a recording and a speed of its own.
  void begin(bool run);

  /// The next sample is due. No bytes: the instrument makes no record of it.
  Delivery next();

  /// One record without faults.
  std::string next_record();

  /// Time went by without samples.
  void skip(uint64_t nanoseconds) { _skipped_ns += nanoseconds; }

  /// Between two samples; 0: as fast as the reader takes them.
  uint64_t interval_ns() const;

 private:
  std::string measure();
  uint64_t stamp() const;
  Delivery recorded_line();

  const Options _options;
  Instrument& _instrument;
  std::ifstream _recording;
  bool _run = false;
  Wind _wind;
  PortDriver _driver;
  uint64_t _begin_ns = 0;
  uint64_t _skipped_ns = 0;
  uint64_t _samples = 0;
};

}  // namespace sonic::simulator
