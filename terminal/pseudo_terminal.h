#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "base/descriptor.h"
#include "terminal/port_link.h"

namespace sonic {

/// The instrument's end of a pseudo-terminal, whose other end stands for the serial port. The other
/// end is not held open here, so that one can see whether anybody uses the port.
class PseudoTerminal {
 public:
  struct Ready {
    bool readable;
    bool writable;
  };

  /// Sets the other end raw, at `baud`, and links it to `link` unless that is empty. Failures, here
  /// and below, are std::runtime_error.
  PseudoTerminal(const std::string& link, unsigned int baud);

  /// Of the other end, such as "/dev/pts/3".
  const std::string& path() const { return _path; }

  /// Of this end.
  int fd() const { return _descriptor.get(); }

  /// Whether somebody has the other end open.
  bool in_use() const;

  /// Waits for keys, or for room if `for_room`, at most for `limit`.
  Ready wait(bool for_keys, bool for_room, std::chrono::milliseconds limit) const;

  /// The keys that have arrived, possibly none.
  std::string read() const;

  /// How many of the bytes there was room for.
  size_t write(const std::string& bytes) const;

  /// The speed that the other side has set, in baud; 0 for one that no line has.
  unsigned int speed() const;

  /// Hangs up the line. Nothing but the destructor may follow.
  void hang_up();

 private:
  std::string _path;
  Descriptor _descriptor;  // none: hung up
  std::optional<PortLink> _link;
};

}  // namespace sonic
