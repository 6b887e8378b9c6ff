#include "young/sonic_young_81000_serial.h"

#include <boost/lexical_cast.hpp>
#include <iostream>

#include "records/young_81000_record.h"
#include "young/baud_detection.h"

namespace sonic {

namespace {

constexpr int POWER_ON = 1;
constexpr int POWER_OFF = 0;
constexpr bool OPEN_LATER = false;

}  // namespace

sonic_young_81000_serial::sonic_young_81000_serial(Notifier& notifier, const config_map_t& config,
                                                   Priviledges& p,
                                                   const std::vector<unsigned int>& baud_rates,
                                                   const re& matches, bool verbose)
    : _privileges(p),
      _notifier(notifier),
      _port(config.at("dev_port"),
            static_cast<int>(boost::lexical_cast<unsigned int>(config.at("PREFERRED_BAUD_RATE"))),
            OPEN_LATER),
      _gpio(config.at("port"), POWER_ON, POWER_OFF) {
  with_raised_privileges(_privileges, [this] {
    _port.open();
    _gpio.enable();
  });
  const unsigned int rate =
      young_81000_auto_baud(_notifier, baud_rates, _port, young_81000_extractor, matches, verbose);
  std::cout << "baud rate detected: " << rate << std::endl;
}

sonic_young_81000_serial::~sonic_young_81000_serial() {
  with_raised_privileges(_privileges, [this] {
    _gpio.disable();
    _port.close();
  });
}

}  // namespace sonic
