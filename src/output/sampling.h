#pragma once

#include "app/configuration.h"
#include "app/priority.h"
#include "mqtt/mqtt_publisher.h"
#include "mqtt/notifier.h"
#include "output/sonic_ops.h"
#include "serial/serial.h"

namespace sonic {

/// The program's steady state: reads the port, cuts it into records, writes them to half-hour data
/// files, publishes them and reports the link state, "Connected" to begin with. Then it raises the
/// priority of this thread, which switches the effective user and leaves the device user in force.
/// Returns when the setting "iterations" has been reached. `extras` is what the set-up found out
/// about the instrument.
///
/// Throws std::runtime_error when the user interrupts ("sampling"), after a minute without data,
/// and when the switch of the user, the priority, the wait for input, the port or the data file
/// fails; std::out_of_range for a missing key ("map::at"), for a stamp of which a number fits
/// no 64 bits ("stoull") and for "iterations" beyond an unsigned long ("stoul"); and
/// std::invalid_argument ("stoul") for "iterations" without digits.
void sampling(MQTTPublisher& publisher, Notifier& notifier, Serial& port,
              const config_map_t& config, const config_map_t& extras, Priority& priority,
              SonicOps& ops);

}  // namespace sonic
