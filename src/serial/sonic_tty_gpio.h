#pragma once

#include <map>
#include <string>

namespace sonic {

/// The GPIO line that powers each tty's instrument.
extern const std::map<std::string, int> tty2gpio;

/// Switches a port's power line and, at the latest when it is destroyed, switches it off. A value
/// file that cannot be opened is not reported: the program runs on without power control.
class sonic_tty_gpio {
 public:
  /// `tty` is the bare device name ("ttyS1"). Throws std::runtime_error when it has no power line.
  sonic_tty_gpio(const std::string& tty, int enable_value, int disable_value);
  ~sonic_tty_gpio();
  sonic_tty_gpio(const sonic_tty_gpio&) = delete;
  sonic_tty_gpio& operator=(const sonic_tty_gpio&) = delete;

  /// Each writes its value from the constructor, as _set_state() does.
  void enable();
  void disable();

  /// Writes `value` unless it was the last one. One that could not be written counts as written.
  void _set_state(int value);

 private:
  std::string _path;
  int _enable_value;
  int _disable_value;
  int _state = -1;
};

}  // namespace sonic
