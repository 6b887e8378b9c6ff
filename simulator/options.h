#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/time.h"
#include "simulator/instrument.h"
#include "simulator/port_driver.h"

namespace sonic::simulator {

/// Everything that can be chosen about a simulation. A run is what is streamed from the moment when
/// the menu was left until it is entered again or the port is closed.
struct Options {
  std::string link;  ///< empty: none
  Settings settings;
  State state = State::OPERATE;
  bool paging = false;
  bool raw = false;       ///< no stamps
  bool no_setup = false;  ///< a run also begins when the port is opened
  uint64_t settle_ns = NANOSECONDS_PER_SECOND / 2;
  uint32_t seed = 1;
  std::optional<uint64_t> start_ns;  ///< stamp of a run's first sample; none: by the clock
  double speed = 1;                  ///< of a run; 0: as fast as the reader takes it
  std::string replay;                ///< file played in a run instead of generated records
  uint64_t error_period = 0;         ///< every n-th sample has an error; 0: never
  Faults faults;
  bool trace = false;
};

/// Nothing when help or version was asked for and has been printed. Throws UsageError.
std::optional<Options> parse_options(int argc, char* const argv[]);

}  // namespace sonic::simulator
