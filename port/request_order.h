#pragma once

#include <chrono>
#include <string>

#include "base/descriptor.h"

namespace sonic::port {

/// Knows in which order the user of a pseudo-terminal wrote keys and changed the settings. The
/// terminal itself does not show it: in packet mode a report of changed settings precedes all
/// keys. Right as long as this program looks before the user does the next thing but one.
class RequestOrder {
 public:
  /// Of the terminal's own end, and the path of its user's. Failures are std::runtime_error.
  RequestOrder(int terminal, const std::string& path);

  /// To be called before each read of the terminal.
  void look();

  /// To be called when keys have been read.
  void keys_read();

  /// To be called when a report has been read. Returns whether keys that have not been read yet
  /// were written before what it reports.
  bool report_read();

  /// Whether there are keys to read.
  bool has_keys() const;

 private:
  using Clock = std::chrono::steady_clock;

  void take_events();
  bool has_report() const;

  int _terminal;
  Descriptor _writes;  // inotify
  Descriptor _events;  // epoll: which was first, a write or a report
  bool _awaits_keys = false;
  bool _awaits_report = false;
  bool _keys_first = false;             // before the report that is awaited
  Clock::time_point _read_unannounced;  // keys
};

}  // namespace sonic::port
