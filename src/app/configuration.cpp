#include "app/configuration.h"

#include <stdexcept>

namespace sonic {

const std::string COMMON_OUTPUT_DATA_PATH = "/home/qelta/device";

const config_map_t port2topic = {
    {"ttyS1", "1"},
    {"ttyS2", "2"},
    {"ttyS4", "4"},
};

const config_map_t extra_configs = {
    {"SONIC_TYPE", "YOUNG_81000"},      {"SONIC_ID", "young_81000_v"},
    {"PREFERRED_BAUD_RATE", "38400"},   {"PREFERRED_OUTPUT_RATE", "32"},
    {"instrument", "RM Young 81000 V"},
};

void config_extend(config_map_t& settings) {
  const std::string port = settings["port"];
  if (port.empty()) throw std::runtime_error("Port not specified");
  settings["sys_port"] = "/sys/class/tty/" + port + "/sonic_type";
  settings["dev_port"] = "/dev/" + port;
  // Topics begin with the path of the home directory: subscribers on the logger rely on it.
  const std::string topic = COMMON_OUTPUT_DATA_PATH + "/port/" + port2topic.at(port);
  settings["topic"] = topic;
  settings["topic_fast"] = topic + "/fast";
  settings["topic_status"] = topic + "/status";
  settings["topic_status_will"] = "Disconnected";
  settings["sonic_info_file"] = COMMON_OUTPUT_DATA_PATH + "/" + port + ".json";
}

void config_extras(config_map_t& settings, const config_map_t& extras) {
  for (const auto& [key, value] : extras) settings[key] = value;
}

bool config_flag(const config_map_t& settings, const std::string& key) {
  return settings.at(key) == "1";
}

}  // namespace sonic
