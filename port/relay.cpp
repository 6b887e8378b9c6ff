#include "port/relay.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <utility>

#include "base/error.h"
#include "base/time.h"
#include "serial/speeds.h"

namespace sonic::port {

namespace {

using std::chrono::milliseconds;

// What the daemon prefers, and therefore tries first.
constexpr unsigned int FIRST_BAUD = 38400;

// A hundred times what a byte takes at 4800 baud, and a fifth of what the daemon waits for an echo.
constexpr milliseconds MAX_HOLD(200);

// How late a change of speed may be after the last byte before it.
constexpr milliseconds UNTIL_SENT(1);

constexpr std::chrono::minutes BETWEEN_COMPLAINTS(1);

std::string text_of(speed_t speed) {
  const unsigned int baud = baud_of(speed);
  return baud == 0 ? "a speed unknown to sonicd" : std::to_string(baud) + " baud";
}

}  // namespace

Relay::Relay(const Options& options, Log log)
    : _log(log),
      _trace(options.trace),
      _link(options.link),
      _device(options.device, speed_code(FIRST_BAUD).value(), log),
      _port(std::make_unique<OfferedPort>(_link, speed_code(FIRST_BAUD).value())),
      _stamper([this](uint64_t arrival_ns) {
        if (_trace) _stamped.push_back(arrival_ns);
      }),
      _speed(speed_code(FIRST_BAUD).value()),
      _reported(Clock::now() - BETWEEN_COMPLAINTS) {}

Relay::~Relay() { report_dropped(Clock::duration::zero()); }

void Relay::run(int stop) {
  for (;;) {
    const bool full = !_keys.empty();  // the device has no room for earlier keys
    const bool busy = full || !_requests.empty();
    pollfd awaited[] = {{stop, POLLIN, 0},
                        {_device.fd(), static_cast<short>(full ? POLLIN | POLLOUT : POLLIN), 0},
                        _port->awaited(!busy, !_queue.front().empty())};
    if (poll(awaited, std::size(awaited), patience()) == -1 && errno != EINTR)
      throw_error(errno, {"poll: "});
    const auto& [stopped, device, port] = awaited;
    if (stopped.revents != 0) break;
    if ((device.revents & POLLOUT) != 0) send_keys();
    // What arrived at the same time as a flush is taken for newer.
    if (_port->notice(port)) forget_input();
    if (port.revents != 0 || _port->patience() != -1) take_requests();
    if (_port->is_closed_to_all()) renew_port();
    serve_requests();
    if ((device.revents & ~POLLOUT) != 0) take_from_instrument();
    release_overdue();
    hand_over();
    report_dropped(BETWEEN_COMPLAINTS);
  }
}

// Until the hold is over, the port's settings are to be looked at again, or a change of speed is
// due.
int Relay::patience() const {
  if (_keys.empty() && !_requests.empty()) return static_cast<int>(UNTIL_SENT.count());
  if (!_stamper.is_holding()) return _port->patience();
  const auto left = std::chrono::ceil<milliseconds>(_last_arrival + MAX_HOLD - Clock::now());
  const int hold = std::max(0, static_cast<int>(left.count()));
  return _port->patience() == -1 ? hold : std::min(hold, _port->patience());
}

void Relay::take_from_instrument() {
  const std::string bytes = _device.read();
  const uint64_t arrival_ns = clock_ns();
  if (bytes.empty()) return;
  _last_arrival = Clock::now();
  const std::string passed = _stamper.take(bytes, arrival_ns);
  if (_port->in_use()) _queue.push(passed);
}

// A line that is under way gets no stamp when its beginning is lost.
void Relay::forget_input() {
  _stamper.release();
  _queue.clear();
}

// Bytes that are there already have not been late.
void Relay::release_overdue() {
  if (!_stamper.is_holding() || Clock::now() < _last_arrival + MAX_HOLD) return;
  take_from_instrument();
  if (Clock::now() < _last_arrival + MAX_HOLD) return;
  const std::string released = _stamper.release();
  if (_port->in_use()) _queue.push(released);
}

void Relay::hand_over() {
  if (!_queue.front().empty() && _port->in_use()) _queue.pop(_port->write(_queue.front()));
  for (const uint64_t arrival_ns : std::exchange(_stamped, {})) {
    char line[80];
    std::snprintf(line, sizeof line, "stamped %" PRIu64 ".%09" PRIu64 ", %.3f ms later",
                  arrival_ns / NANOSECONDS_PER_SECOND, arrival_ns % NANOSECONDS_PER_SECOND,
                  static_cast<double>(clock_ns() - arrival_ns) / 1e6);
    _log(line);
  }
}

// Of a user that has gone, everything: nothing will wake this program up for the rest.
void Relay::take_requests() {
  do {
    for (const Request& request : _port->requests()) {
      if (request.what == Request::What::FLUSH) {
        forget_input();
      } else {
        _requests.push_back(request);
      }
    }
  } while (!_port->in_use() && _port->has_more());
}

// A real port is open to all again when its last user closes it.
void Relay::renew_port() {
  _port = std::make_unique<OfferedPort>(_link, _port->speed());
  _log("its last user left the port exclusive: offering " + path() + " from now on");
}

// Does not wait until the keys before a change of speed have left, which takes seconds at 4800
// baud: the instrument's bytes, and a signal to stop, would have to wait as well.
void Relay::serve_requests() {
  while (!_requests.empty() && _keys.empty()) {
    if (_requests.front().what == Request::What::SPEED && !_device.has_sent()) return;
    const Request request = std::move(_requests.front());
    _requests.pop_front();
    if (request.what == Request::What::SPEED) set_speed(request.speed);
    _keys = request.keys;
    send_keys();
  }
}

void Relay::send_keys() {
  if (!_keys.empty()) _keys.erase(0, _device.write(_keys));
}

void Relay::set_speed(speed_t speed) {
  if (_device.set_speed(speed)) {
    _speed = speed;
    if (_trace) _log(text_of(speed));
  } else {
    _log(_device.path() + " cannot be set to " + text_of(speed) + ", stays at " + text_of(_speed));
  }
}

void Relay::report_dropped(Clock::duration pause) {
  _dropped += _queue.take_dropped();
  if (_dropped == 0) return;
  const auto now = Clock::now();
  if (now < _reported + pause) return;
  _log("lines dropped, as nobody reads the port: " + std::to_string(std::exchange(_dropped, 0)));
  _reported = now;
}

}  // namespace sonic::port
