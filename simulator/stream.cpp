#include "simulator/stream.h"

#include "base/error.h"
#include "base/time.h"

namespace sonic::simulator {

namespace {

constexpr unsigned int PATH_FAILED = 4;  // diagnostic word of a sample with an error
constexpr size_t MAX_RECORDED_PIECE_BYTES = 4096;

}  // namespace

Stream::Stream(const Options& options, Instrument& instrument)
    : _options(options),
      _instrument(instrument),
      _wind(options.seed),
      _driver(options.faults, options.seed, options.raw) {
  if (_options.replay.empty()) return;
  _recording.open(_options.replay, std::ios::binary);
  // a directory can be opened, but not read
  if (!_recording || (_recording.peek(), _recording.bad())) {
    throw_error(errno, {_options.replay, ": "});
  }
}

void Stream::begin(bool run) {
  _run = run;
  _wind = Wind(_options.seed);
  _driver = PortDriver(run ? _options.faults : Faults(), _options.seed, _options.raw);
  _begin_ns = _options.start_ns.value_or(clock_ns());
  _skipped_ns = 0;
  _samples = 0;
  _recording.clear();
  _recording.seekg(0);
}

Delivery Stream::next() {
  if (_run && !_options.replay.empty()) return recorded_line();
  const uint64_t stamp_ns = stamp();
  const std::string line = measure();
  return line.empty() ? Delivery() : _driver.deliver(stamp_ns, line);
}

std::string Stream::next_record() {
  std::string line;
  while (line.empty()) line = _instrument.measure(_wind.next());
  return _driver.framed(stamp(), line);
}

std::string Stream::measure() {
  Sample sample = _wind.next();
  ++_samples;
  const uint64_t period = _options.error_period;
  if (period != 0 && _samples % period == 0) sample.diagnostic = PATH_FAILED;
  return _instrument.measure(sample);
}

uint64_t Stream::stamp() const {
  const bool real_time = !_run || _options.speed == 1;
  if (!_options.start_ns && real_time) return clock_ns();
  return _begin_ns + _skipped_ns +
         _samples * (NANOSECONDS_PER_SECOND / _instrument.settings().rate);
}

uint64_t Stream::interval_ns() const {
  const uint64_t interval = NANOSECONDS_PER_SECOND / _instrument.settings().rate;
  if (!_run) return interval;
  if (_options.speed == 0) return 0;
  return static_cast<uint64_t>(static_cast<double>(interval) / _options.speed);
}

Delivery Stream::recorded_line() {
  Delivery delivery;
  char c = 0;
  while (delivery.bytes.size() < MAX_RECORDED_PIECE_BYTES && _recording.get(c)) {
    delivery.bytes += c;
    if (c == '\r') break;
  }
  if (!_recording) delivery.event = Event::SILENCE;
  return delivery;
}

}  // namespace sonic::simulator
