#include "young/sonic_setup.h"

#include <boost/lexical_cast.hpp>
#include <iostream>

#include "output/sonic_info.h"
#include "young/young_81000_menu.h"
#include "young/young_81000_settings.h"

namespace sonic {

namespace {

constexpr const char* DEVICE_CONFIGURATION = "/config.json";
constexpr const char* OUTPUT_RATE_NOT_GIVEN = "0";

void step(const char* what) { std::cout << "sonic_setup_auto: " << what << std::endl; }

unsigned int to_number(const std::string& text) { return boost::lexical_cast<unsigned int>(text); }

}  // namespace

config_map_t sonic_setup(Notifier& notifier, const config_map_t& config, Serial& port) {
  std::cout << "sonic_setup: enter" << std::endl;
  notifier.notify("Configuring");
  config_map_t info = sonic_setup_auto(config, port);
  std::cout << "sonic_setup: end" << std::endl;
  return info;
}

config_map_t sonic_setup_auto(const config_map_t& config, Serial& port) {
  step("enter");
  const bool verbose = config_flag(config, "verbose");
  config_map_t info = {
      {"sonic_type", config.at("SONIC_ID")},
      {"instrument", config.at("instrument")},
      {"serial_number", "unknown"},
      {"software_version", "unknown"},
      {"output_rate", ""},
      {"config", ""},
      {"incline", ""},
  };
  sonic_info_update(info, {"serial_number"}, COMMON_OUTPUT_DATA_PATH + DEVICE_CONFIGURATION);

  young_enter_interactive(port, verbose);

  step("set baud rate");
  young_81000_set_baud_rate(port, to_number(config.at("PREFERRED_BAUD_RATE")), verbose);

  step("set error handling");
  young_81000_set_error_handling(port, "include", verbose);

  step("set output rate");
  std::string rate = config.at("output_rate");
  if (rate == OUTPUT_RATE_NOT_GIVEN) rate = config.at("PREFERRED_OUTPUT_RATE");
  young_81000_set_output_rate(port, to_number(rate), verbose);
  info["output_rate"] = rate;

  step("set averaging");
  young_81000_set_averaging(port, 0, verbose);

  step("set output format");
  young_81000_set_output_format(port, verbose);

  step("get config");
  info["config"] = young_81000_get_info(port, verbose);
  info["software_version"] = young_81000_get_firmware_version(info["config"]);

  young_exit_interactive(port, verbose);
  return info;
}

}  // namespace sonic
