#pragma once

#include <poll.h>
#include <termios.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "base/descriptor.h"
#include "port/request_order.h"
#include "terminal/port_link.h"
#include "terminal/pseudo_terminal.h"

namespace sonic::port {

/// What the offered port's user wants, in the order in which it was done.
struct Request {
  enum class What { KEYS, SPEED, FLUSH };  ///< FLUSH: forget what was received
  What what;
  std::string keys;
  speed_t speed;
};

/// The port that stands in for a serial one: a pseudo-terminal whose user's bytes, changes of speed
/// and flushes are all seen. Failures are std::runtime_error.
class OfferedPort {
 public:
  OfferedPort(const std::string& link, speed_t speed);

  const std::string& path() const { return _terminal.path(); }

  /// As its user has set it last.
  speed_t speed() const { return _speed; }

  /// To be waited for, at most for `patience` milliseconds (-1: as long as it takes).
  pollfd awaited(bool for_requests, bool for_room) const;
  int patience() const;

  /// Whether the wait has seen the port opened or closed. What its last user has not read is
  /// forgotten.
  bool notice(const pollfd& awaited);

  bool in_use() const { return _in_use; }

  /// Whether its last user has left it exclusive, so that nobody can open it any more.
  bool is_closed_to_all() const { return _is_closed_to_all; }

  /// The next requests, possibly none: some of what the kernel reports asks for nothing.
  std::vector<Request> requests();

  /// Whether the kernel has more to report.
  bool has_more() const;

  /// How many of the bytes there was room for.
  size_t write(const std::string& bytes) const { return _terminal.write(bytes); }

 private:
  using Clock = std::chrono::steady_clock;

  void take_packet(std::vector<Request>& requests);
  void take_speed(std::vector<Request>& requests);
  void take_keys(std::vector<Request>& requests);
  void forget_unread();
  void ask_for_reports();
  termios settings() const;
  void set(const termios& settings) const;

  PseudoTerminal _terminal;
  Descriptor _opened;  // inotify
  RequestOrder _order;
  std::optional<PortLink> _link;
  bool _in_use = false;
  bool _opened_by_us = false;
  bool _is_closed_to_all = false;
  bool _reports = false;  // of changed settings
  Clock::time_point _last_change;
  speed_t _speed;
};

}  // namespace sonic::port
