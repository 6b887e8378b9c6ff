#pragma once

#include "app/configuration.h"
#include "mqtt/notifier.h"
#include "serial/serial.h"

namespace sonic {

/// Announces the configuration and runs `sonic_setup_auto`.
config_map_t sonic_setup(Notifier& notifier, const config_map_t& config, Serial& port);

/// Walks the instrument through its menu to the configured settings and back to operate mode.
/// Returns what is known of the instrument: sonic_type, instrument, serial_number,
/// software_version, output_rate (Hz), config, incline. The first failure passes on: of the
/// logger's configuration file, of the dialogue, "map::at" for a missing setting or a rate that the
/// instrument does not have, "bad lexical cast" for a rate that is not a number. It leaves what has
/// been set and the menu as they are; the next start copes with both.
config_map_t sonic_setup_auto(const config_map_t& config, Serial& port);

}  // namespace sonic
