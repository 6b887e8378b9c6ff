#include "simulator/stream.h"

#include <chrono>

#include "base/error.h"

namespace sonic::simulator {

namespace {

constexpr unsigned int PATH_FAILED = 4;  // diagnostic word of a sample with an error
constexpr size_t LONGEST_RECORDED_PIECE = 4096;

uint64_t clock_ns() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<uint64_t>(std::chrono::nanoseconds(now).count());
}

}  // namespace

Stream::Stream(const Options& options, Instrument& instrument)
    : options_(options),
      instrument_(instrument),
      wind_(options.seed),
      driver_(options.faults, options.seed, options.raw) {
  if (options_.replay.empty()) return;
  recording_.open(options_.replay, std::ios::binary);
  // a directory can be opened, but not read
  if (!recording_ || (recording_.peek(), recording_.bad())) {
    fail(options_.replay);
  }
}

void Stream::begin(bool run) {
  run_ = run;
  wind_ = Wind(options_.seed);
  driver_ = PortDriver(run ? options_.faults : Faults(), options_.seed, options_.raw);
  begin_ns_ = options_.start_ns.value_or(clock_ns());
  skipped_ns_ = 0;
  samples_ = 0;
  recording_.clear();
  recording_.seekg(0);
}

Delivery Stream::next() {
  if (run_ && !options_.replay.empty()) return recorded_line();
  const uint64_t stamp_ns = stamp();
  const std::string line = measure();
  return line.empty() ? Delivery() : driver_.deliver(stamp_ns, line);
}

std::string Stream::next_record() {
  std::string line;
  while (line.empty()) line = instrument_.measure(wind_.next());
  return driver_.framed(stamp(), line);
}

std::string Stream::measure() {
  Sample sample = wind_.next();
  ++samples_;
  const uint64_t period = options_.error_period;
  if (period != 0 && samples_ % period == 0) sample.diagnostic = PATH_FAILED;
  return instrument_.measure(sample);
}

uint64_t Stream::stamp() const {
  const bool real_time = !run_ || options_.speed == 1;
  if (!options_.start_ns && real_time) return clock_ns();
  return begin_ns_ + skipped_ns_ + samples_ * (NANOSECONDS / instrument_.settings().rate);
}

uint64_t Stream::interval_ns() const {
  const uint64_t interval = NANOSECONDS / instrument_.settings().rate;
  if (!run_) return interval;
  if (options_.speed == 0) return 0;
  return static_cast<uint64_t>(static_cast<double>(interval) / options_.speed);
}

Delivery Stream::recorded_line() {
  Delivery delivery;
  char c = 0;
  while (delivery.bytes.size() < LONGEST_RECORDED_PIECE && recording_.get(c)) {
    delivery.bytes += c;
    if (c == '\r') break;
  }
  if (!recording_) delivery.event = Event::SILENCE;
  return delivery;
}

}  // namespace sonic::simulator
