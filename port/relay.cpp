#include "port/relay.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <utility>

#include "base/error.h"
#include "serial/speeds.h"
#include "terminal/framing.h"

namespace sonic::port {

namespace {

using std::chrono::milliseconds;

// What the daemon prefers, and therefore tries first.
constexpr unsigned int FIRST_BAUD = 38400;

// A hundred times what a byte takes at 4800 baud, and a fifth of what the daemon waits for an echo.
constexpr milliseconds LONGEST_HOLD(200);

// How late a change of speed may be behind the last byte before it.
constexpr milliseconds UNTIL_SENT(1);

constexpr std::chrono::minutes BETWEEN_COMPLAINTS(1);

uint64_t clock_ns() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<uint64_t>(std::chrono::nanoseconds(now).count());
}

std::string text_of(speed_t speed) {
  const unsigned int baud = baud_of(speed);
  return baud == 0 ? "a speed unknown to sonicd" : std::to_string(baud) + " baud";
}

}  // namespace

Relay::Relay(const Options& options, Log log)
    : log_(log),
      trace_(options.trace),
      device_(options.device, speed_code(FIRST_BAUD).value(), log),
      port_(options.link, FIRST_BAUD),
      stamper_([this](uint64_t arrival_ns) {
        if (trace_) stamped_.push_back(arrival_ns);
      }),
      speed_(speed_code(FIRST_BAUD).value()),
      told_(Clock::now() - BETWEEN_COMPLAINTS) {}

Relay::~Relay() { tell_dropped(Clock::duration::zero()); }

void Relay::run(int stop) {
  for (;;) {
    const bool full = !keys_.empty();  // the device has no room for what came before
    const bool busy = full || !requests_.empty();
    pollfd awaited[] = {{stop, POLLIN, 0},
                        {device_.fd(), static_cast<short>(full ? POLLIN | POLLOUT : POLLIN), 0},
                        port_.awaited(!busy, !queue_.front().empty())};
    if (poll(awaited, std::size(awaited), patience()) == -1 && errno != EINTR) fail("poll");
    const auto& [stopped, device, port] = awaited;
    if (stopped.revents != 0) break;
    if ((device.revents & POLLOUT) != 0) send_keys();
    // What has come at the same time as a flush is taken for newer.
    if (port_.notice(port)) forget_input();
    if (port.revents != 0 || port_.patience() != -1) take_requests();
    serve_requests();
    if ((device.revents & ~POLLOUT) != 0) take_from_instrument();
    release_overdue();
    hand_over();
    tell_dropped(BETWEEN_COMPLAINTS);
  }
}

/// Until the hold is over, the port's settings are to be looked at again, or a change of speed is
/// due.
int Relay::patience() const {
  if (keys_.empty() && !requests_.empty()) return static_cast<int>(UNTIL_SENT.count());
  if (!stamper_.is_holding()) return port_.patience();
  const auto left = std::chrono::ceil<milliseconds>(last_arrival_ + LONGEST_HOLD - Clock::now());
  const int hold = std::max(0, static_cast<int>(left.count()));
  return port_.patience() == -1 ? hold : std::min(hold, port_.patience());
}

void Relay::take_from_instrument() {
  const std::string bytes = device_.read();
  const uint64_t arrival_ns = clock_ns();
  if (bytes.empty()) return;
  last_arrival_ = Clock::now();
  const std::string passed = stamper_.take(bytes, arrival_ns);
  if (port_.in_use()) queue_.push(passed);
}

/// A line that is under way gets no stamp when its beginning is lost.
void Relay::forget_input() {
  stamper_.release();
  queue_.clear();
}

/// Bytes that are there already have not been late.
void Relay::release_overdue() {
  if (!stamper_.is_holding() || Clock::now() < last_arrival_ + LONGEST_HOLD) return;
  take_from_instrument();
  if (Clock::now() < last_arrival_ + LONGEST_HOLD) return;
  const std::string released = stamper_.release();
  if (port_.in_use()) queue_.push(released);
}

void Relay::hand_over() {
  if (!queue_.front().empty() && port_.in_use()) queue_.pop(port_.write(queue_.front()));
  for (const uint64_t arrival_ns : std::exchange(stamped_, {})) {
    char line[80];
    std::snprintf(line, sizeof line, "stamped %" PRIu64 ".%09" PRIu64 ", %.3f ms later",
                  arrival_ns / NANOSECONDS, arrival_ns % NANOSECONDS,
                  static_cast<double>(clock_ns() - arrival_ns) / 1e6);
    log_(line);
  }
}

/// Of a user that has gone, everything: nothing will wake this program up for the rest.
void Relay::take_requests() {
  do {
    for (const Request& request : port_.requests()) {
      if (request.what == Request::What::FLUSH) {
        forget_input();
      } else {
        requests_.push_back(request);
      }
    }
  } while (!port_.in_use() && port_.has_more());
}

/// Does not wait until the keys before a change of speed have left, which takes seconds at 4800
/// baud: the instrument's bytes, and a signal to stop, would have to wait as well.
void Relay::serve_requests() {
  while (!requests_.empty() && keys_.empty()) {
    if (requests_.front().what == Request::What::SPEED && !device_.has_sent()) return;
    const Request request = std::move(requests_.front());
    requests_.pop_front();
    if (request.what == Request::What::SPEED) set_speed(request.speed);
    keys_ = request.keys;
    send_keys();
  }
}

void Relay::send_keys() {
  if (!keys_.empty()) keys_.erase(0, device_.write(keys_));
}

void Relay::set_speed(speed_t speed) {
  if (device_.set_speed(speed)) {
    speed_ = speed;
    if (trace_) log_(text_of(speed));
  } else {
    log_(device_.path() + " cannot be set to " + text_of(speed) + ", stays at " + text_of(speed_));
  }
}

void Relay::tell_dropped(Clock::duration pause) {
  dropped_ += queue_.take_dropped();
  if (dropped_ == 0) return;
  const auto now = Clock::now();
  if (now < told_ + pause) return;
  log_("lines dropped, as nobody reads the port: " + std::to_string(std::exchange(dropped_, 0)));
  told_ = now;
}

}  // namespace sonic::port
