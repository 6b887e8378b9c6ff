#include "simulator/simulation.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace sonic::simulator {

namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr milliseconds CLOSED_TICK(10);  // how soon an opened port is noticed
constexpr milliseconds MAX_WAIT(50);     // how soon the end is noticed
constexpr milliseconds MAX_DELAY(1000);  // what is later than this is not made up for
constexpr milliseconds LAST_READ(200);   // for the reader: a hang-up discards unread bytes
constexpr size_t MAX_PENDING_FOR_SAMPLES_BYTES = 4096;  // no more samples beyond this
constexpr size_t MAX_PENDING_FOR_KEYS_BYTES = 65536;    // no more keys either
constexpr int MAX_SAMPLES_AT_ONCE = 1000;               // they need not make records
constexpr unsigned int HIGH_BIT = 0x80;

nanoseconds ns(uint64_t count) { return nanoseconds(static_cast<int64_t>(count)); }

}  // namespace

Simulation::Simulation(const Options& options, Trace trace)
    : _options(options),
      _trace(std::move(trace)),
      _terminal(options.link, options.settings.baud),
      _instrument(options.settings, options.state, options.paging),
      _stream(options, _instrument),
      _garbage(options.seed) {}

void Simulation::run(const std::atomic<bool>& stop) {
  while (!stop && !_hung_up) {
    if (!_terminal.in_use()) {
      if (_in_use) closed();
      std::this_thread::sleep_for(CLOSED_TICK);
      continue;
    }
    if (!_in_use) opened();
    produce();
    const bool for_keys = _pending.size() < MAX_PENDING_FOR_KEYS_BYTES;
    const auto ready = _terminal.wait(for_keys, !_pending.empty(), until_due());
    if (ready.readable) take_keys();
    if (ready.writable) send();
  }
}

void Simulation::opened() {
  _in_use = true;
  trace("port opened");
  begin(_options.no_setup);
}

void Simulation::closed() {
  _in_use = false;
  trace("port closed");
  begin(false);
}

// A run begins after the settling time, in which a reader ends its set-up; nothing of the run is
// lost to it then.
void Simulation::begin(bool run) {
  if (!_powered || _instrument.operating()) _instrument.power_up();
  _powered = true;
  _silent = false;
  _event = Event::NONE;
  _stream.begin(run);
  _next_due = Clock::now() + (run ? ns(_options.settle_ns) : nanoseconds::zero());
}

void Simulation::produce() {
  if (!_in_use || !_instrument.operating() || _silent) return;
  if (_event != Event::NONE) happen();
  const auto now = Clock::now();
  if (now - _next_due > MAX_DELAY) _next_due = now;
  for (int i = 0; i < MAX_SAMPLES_AT_ONCE; ++i) {
    if (_next_due > now || _pending.size() >= MAX_PENDING_FOR_SAMPLES_BYTES) return;
    if (_silent || _event != Event::NONE) return;
    if (!_powered) {
      _powered = true;
      _instrument.power_up();
      trace("power on");
    }
    _next_due += ns(_stream.interval_ns());
    add(_stream.next());
  }
}

void Simulation::add(const Delivery& delivery) {
  _pending += delivery.bytes;
  _event = delivery.event;
  _event_ns = delivery.nanoseconds;
}

void Simulation::happen() {
  if (!_pending.empty()) return;
  switch (std::exchange(_event, Event::NONE)) {
    case Event::NONE:
      break;
    case Event::POWER_CYCLE:
      _powered = false;
      [[fallthrough]];
    case Event::PAUSE:
      trace(_powered ? "pause" : "power off");
      _next_due = Clock::now() + ns(_event_ns);
      _stream.skip(_event_ns);
      break;
    case Event::SILENCE:
      _silent = true;
      trace("end of the run");
      break;
    case Event::HANG_UP:
      trace("hang-up");
      std::this_thread::sleep_for(LAST_READ);
      _terminal.hang_up();
      _hung_up = true;
      _silent = true;
      break;
  }
}

void Simulation::take_keys() {
  for (const char c : _terminal.read()) {
    if (!_powered || _terminal.speed() != _instrument.settings().baud) continue;
    const bool was_operating = _instrument.operating();
    const std::string before = _instrument.describe();
    _pending += _instrument.key(c);
    if (_instrument.describe() != before) trace(_instrument.describe());
    if (_instrument.operating() == was_operating) continue;
    // data at once, so that the program that leaves the menu sees that it has been left
    if (!was_operating) _pending += _stream.next_record();
    begin(!was_operating);
  }
}

// At another speed than the instrument's, the reader sees as many bytes, but others.
void Simulation::send() {
  std::string bytes = _pending;
  if (_terminal.speed() != _instrument.settings().baud) {
    for (char& c : bytes) c = static_cast<char>(HIGH_BIT | (_garbage() & (HIGH_BIT - 1)));
  }
  _pending.erase(0, _terminal.write(bytes));
}

milliseconds Simulation::until_due() const {
  if (_hung_up) return milliseconds::zero();
  if (!_pending.empty() || !_instrument.operating() || _silent) return MAX_WAIT;
  const auto left = std::chrono::ceil<milliseconds>(_next_due - Clock::now());
  return std::clamp(left, milliseconds::zero(), MAX_WAIT);
}

void Simulation::trace(const std::string& line) const {
  if (_trace) _trace(line);
}

}  // namespace sonic::simulator
