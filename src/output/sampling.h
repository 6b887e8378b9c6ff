#pragma once

#include "app/configuration.h"
#include "app/priority.h"
#include "mqtt/mqtt_publisher.h"
#include "mqtt/notifier.h"
#include "output/sonic_ops.h"
#include "serial/serial.h"

namespace sonic {

/// The program's steady state: reads the port, cuts it into records, writes them to half-hour data
/// files, publishes them and reports the link state. Returns when the setting "iterations" has been
/// reached. Throws std::runtime_error when the user interrupts ("sampling"), after a minute without
/// data, and when the port or the data file fails; std::out_of_range ("map::at") for a missing key,
/// and ("stoull") for a time stamp that fits no 64-bit number; "stoul" exceptions for a bad
/// "iterations". `extras` is what the set-up found out about the instrument.
void sampling(MQTTPublisher& publisher, Notifier& notifier, Serial& port,
              const config_map_t& config, const config_map_t& extras, Priority& priority,
              const SonicOps& ops);

}  // namespace sonic
