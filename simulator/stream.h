#pragma once

#include <cstdint>
#include <fstream>

#include "simulator/instrument.h"
#include "simulator/options.h"
#include "simulator/port_driver.h"
#include "simulator/wind.h"

namespace sonic::simulator {

/// What comes out of the port in operate mode, sample by sample: wind through the instrument and
/// the port driver, or a recording.
class Stream {
 public:
  /// Keeps a reference to `instrument`. Throws std::runtime_error if the recording cannot be read.
  Stream(const Options& options, Instrument& instrument);

  /// From the beginning. Only a run has faults, a recording and a speed of its own.
  void begin(bool run);

  /// The next sample's time has come. No bytes: the instrument makes no record of it.
  Delivery next();

  /// One record without faults.
  std::string next_record();

  /// Time went by without samples.
  void skip(uint64_t nanoseconds) { skipped_ns_ += nanoseconds; }

  /// Between two samples; 0: as fast as the reader takes them.
  uint64_t interval_ns() const;

 private:
  std::string measure();
  uint64_t stamp() const;
  Delivery recorded_line();

  const Options options_;
  Instrument& instrument_;
  std::ifstream recording_;
  bool run_ = false;
  Wind wind_;
  PortDriver driver_;
  uint64_t begin_ns_ = 0;
  uint64_t skipped_ns_ = 0;
  uint64_t samples_ = 0;
};

}  // namespace sonic::simulator
