#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "port/line_queue.h"
#include "port/offered_port.h"
#include "port/options.h"
#include "port/serial_device.h"
#include "port/stamper.h"

namespace sonic::port {

/// Carries bytes and speeds between the real port and the one that is offered for it.
class Relay {
 public:
  using Log = void (*)(const std::string& line);

  /// Takes the device and makes the offered port. Throws std::runtime_error, as run() does.
  Relay(const Options& options, Log log);
  /// Reports the lines dropped since the last time.
  ~Relay();

  /// Of the offered port, such as "/dev/pts/3".
  const std::string& path() const { return _port->path(); }

  /// Returns when `stop`, a descriptor, can be read. Throws when the device is gone.
  void run(int stop);

 private:
  using Clock = std::chrono::steady_clock;

  void take_from_instrument();
  void take_requests();
  void renew_port();
  void serve_requests();
  void send_keys();
  void set_speed(speed_t speed);
  void forget_input();
  void hand_over();
  void release_overdue();
  void report_dropped(Clock::duration pause);
  int patience() const;

  const Log _log;
  const bool _trace;
  const std::string _link;
  SerialDevice _device;
  std::unique_ptr<OfferedPort> _port;
  Stamper _stamper;
  LineQueue _queue;               // for the port's user
  std::deque<Request> _requests;  // that wait for the keys before them
  std::string _keys;              // for which the device had no room yet
  speed_t _speed;
  std::vector<uint64_t> _stamped;  // arrivals that are still to be traced
  Clock::time_point _last_arrival;
  uint64_t _dropped = 0;  // lines, not reported yet
  Clock::time_point _reported;
};

}  // namespace sonic::port
