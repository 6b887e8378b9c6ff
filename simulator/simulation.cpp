#include "simulator/simulation.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace sonic::simulator {

namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr milliseconds CLOSED_TICK(10);      // how soon an opened port is noticed
constexpr milliseconds LONGEST_WAIT(50);     // how soon the end is noticed
constexpr milliseconds LARGEST_DELAY(1000);  // what is later than this is not made up for
constexpr milliseconds LAST_READ(200);       // for the reader: a hang-up discards unread bytes
constexpr size_t ENOUGH_PENDING = 4096;      // no more samples beyond this
constexpr size_t MOST_PENDING = 65536;       // no more keys either
constexpr int SAMPLES_AT_ONCE = 1000;        // they need not make records
constexpr unsigned int HIGH_BIT = 0x80;

nanoseconds ns(uint64_t count) { return nanoseconds(static_cast<int64_t>(count)); }

}  // namespace

Simulation::Simulation(const Options& options, Trace trace)
    : options_(options),
      trace_(std::move(trace)),
      terminal_(options.link, options.settings.baud),
      instrument_(options.settings, options.state, options.paging),
      stream_(options, instrument_),
      garbage_(options.seed) {}

void Simulation::run(const std::atomic<bool>& stop) {
  while (!stop && !hung_up_) {
    if (!terminal_.in_use()) {
      if (in_use_) closed();
      std::this_thread::sleep_for(CLOSED_TICK);
      continue;
    }
    if (!in_use_) opened();
    produce();
    const bool for_keys = pending_.size() < MOST_PENDING;
    const auto ready = terminal_.wait(for_keys, !pending_.empty(), until_due());
    if (ready.readable) take_keys();
    if (ready.writable) send();
  }
}

void Simulation::opened() {
  in_use_ = true;
  trace("port opened");
  begin(options_.no_setup);
}

void Simulation::closed() {
  in_use_ = false;
  trace("port closed");
  begin(false);
}

/// A run begins after the settling time, in which a reader ends its set-up; nothing of the run is
/// lost to it then.
void Simulation::begin(bool run) {
  if (!powered_ || instrument_.operating()) instrument_.power_up();
  powered_ = true;
  silent_ = false;
  event_ = Event::NONE;
  stream_.begin(run);
  next_due_ = Clock::now() + (run ? ns(options_.settle_ns) : nanoseconds::zero());
}

void Simulation::produce() {
  if (!in_use_ || !instrument_.operating() || silent_) return;
  if (event_ != Event::NONE) happen();
  const auto now = Clock::now();
  if (now - next_due_ > LARGEST_DELAY) next_due_ = now;
  for (int i = 0; i < SAMPLES_AT_ONCE; ++i) {
    if (next_due_ > now || pending_.size() >= ENOUGH_PENDING) return;
    if (silent_ || event_ != Event::NONE) return;
    if (!powered_) {
      powered_ = true;
      instrument_.power_up();
      trace("power on");
    }
    next_due_ += ns(stream_.interval_ns());
    add(stream_.next());
  }
}

void Simulation::add(const Delivery& delivery) {
  pending_ += delivery.bytes;
  event_ = delivery.event;
  event_ns_ = delivery.nanoseconds;
}

void Simulation::happen() {
  if (!pending_.empty()) return;
  switch (std::exchange(event_, Event::NONE)) {
    case Event::NONE:
      break;
    case Event::POWER_CYCLE:
      powered_ = false;
      [[fallthrough]];
    case Event::PAUSE:
      trace(powered_ ? "pause" : "power off");
      next_due_ = Clock::now() + ns(event_ns_);
      stream_.skip(event_ns_);
      break;
    case Event::SILENCE:
      silent_ = true;
      trace("end of the run");
      break;
    case Event::HANG_UP:
      trace("hang-up");
      std::this_thread::sleep_for(LAST_READ);
      terminal_.hang_up();
      hung_up_ = true;
      silent_ = true;
      break;
  }
}

void Simulation::take_keys() {
  for (const char c : terminal_.read()) {
    if (!powered_ || terminal_.speed() != instrument_.settings().baud) continue;
    const bool was_operating = instrument_.operating();
    const std::string before = instrument_.describe();
    pending_ += instrument_.key(c);
    if (instrument_.describe() != before) trace(instrument_.describe());
    if (instrument_.operating() == was_operating) continue;
    // data at once, so that whoever leaves the menu sees that it has been left
    if (!was_operating) pending_ += stream_.next_record();
    begin(!was_operating);
  }
}

/// At another speed than the instrument's, the reader sees as many bytes, but others.
void Simulation::send() {
  std::string bytes = pending_;
  if (terminal_.speed() != instrument_.settings().baud) {
    for (char& c : bytes) c = static_cast<char>(HIGH_BIT | (garbage_() & (HIGH_BIT - 1)));
  }
  pending_.erase(0, terminal_.write(bytes));
}

milliseconds Simulation::until_due() const {
  if (hung_up_) return milliseconds::zero();
  if (!pending_.empty() || !instrument_.operating() || silent_) return LONGEST_WAIT;
  const auto left = std::chrono::ceil<milliseconds>(next_due_ - Clock::now());
  return std::clamp(left, milliseconds::zero(), LONGEST_WAIT);
}

void Simulation::trace(const std::string& line) const {
  if (trace_) trace_(line);
}

}  // namespace sonic::simulator
