#pragma once

#include <vector>

#include "app/configuration.h"
#include "app/priviledges.h"
#include "mqtt/notifier.h"
#include "records/regex.h"
#include "serial/serial.h"
#include "serial/sonic_tty_gpio.h"

namespace sonic {

/// The instrument on its port: powered and talking from construction to destruction.
class sonic_young_81000_serial {
 public:
  /// Opens and powers the port named by the settings "dev_port" and "port" and finds the
  /// instrument's baud rate among `baud_rates`. Takes 74 s on a silent line.
  /// `notifier` and `p` must outlive this object. Throws what the port, the privileges and
  /// detection throw, and std::out_of_range ("map::at") for a missing setting. After a detection
  /// that throws, the power is switched off as the device user, who must be allowed to write the
  /// line's value file.
  sonic_young_81000_serial(Notifier& notifier, const config_map_t& config, Priviledges& p,
                           const std::vector<unsigned int>& baud_rates, const re& matches,
                           bool verbose);
  /// Switches the power off and closes the port, with raised privileges. A refused switch of the
  /// user ends the program here (std::terminate).
  ~sonic_young_81000_serial();
  sonic_young_81000_serial(const sonic_young_81000_serial&) = delete;
  sonic_young_81000_serial& operator=(const sonic_young_81000_serial&) = delete;

  Serial& port() { return _port; }

 private:
  Priviledges& _privileges;
  Notifier& _notifier;
  Serial _port;
  sonic_tty_gpio _gpio;
};

}  // namespace sonic
