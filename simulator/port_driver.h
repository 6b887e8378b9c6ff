#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace sonic::simulator {

/// Something that happens once, at or after record `record` (the first is 1).
struct Incident {
  uint64_t record;
  uint64_t amount;  ///< in nanoseconds or bytes
};

/// Faults of a run. A period of n spoils every n-th record; 0: never.
struct Faults {
  uint64_t bad_stamp_period = 0;
  uint64_t bad_checksum_period = 0;
  uint64_t malformed_period = 0;
  uint64_t noise_period = 0;
  uint64_t noise_bytes = 8;
  std::vector<Incident> junk;          ///< bytes without delimiter, after the record
  std::vector<Incident> pauses;        ///< nanoseconds, after the record
  std::vector<Incident> steps_back;    ///< nanoseconds, at the record
  std::vector<Incident> power_cycles;  ///< nanoseconds without power, after the record
  uint64_t hang_up_after = 0;          ///< records; 0: never
  uint64_t silent_after = 0;           ///< records; 0: never
};

/// What follows a record once all bytes before it have been taken.
enum class Event { NONE, PAUSE, POWER_CYCLE, HANG_UP, SILENCE };

/// What the reader gets at once.
struct Delivery {
  std::string bytes;
  Event event = Event::NONE;
  uint64_t nanoseconds = 0;  ///< of a pause or without power
};

/// Frames the records of one run and spoils those that the faults name.
class PortDriver {
 public:
  /// `raw`: no stamps, as on the instrument's own line.
  PortDriver(const Faults& faults, uint32_t seed, bool raw)
      : _faults(faults), _random(seed), _raw(raw) {}

  /// One record without faults: stamp, its checksum, the instrument's line, "\r".
  std::string framed(uint64_t stamp_ns, const std::string& line) const;

  /// The next record of the run, spoilt if it is its turn, and what follows it.
  Delivery deliver(uint64_t stamp_ns, std::string line);

 private:
  bool every(uint64_t period) const { return period != 0 && _record % period == 0; }
  std::string noise(uint64_t bytes);

  Faults _faults;
  std::mt19937 _random;
  bool _raw;
  uint64_t _record = 0;  // delivered so far
};

}  // namespace sonic::simulator
