#pragma once

#include <map>
#include <string>

namespace sonic {

/// The settings of one run, text to text; a flag is true exactly when its value is "1".
using config_map_t = std::map<std::string, std::string>;

/// The logger's home directory: root of the data files, the information file and the topics.
extern const std::string COMMON_OUTPUT_DATA_PATH;

/// The ports that are supported, with the number by which topics call them.
extern const config_map_t port2topic;

/// The built-in defaults of the instrument.
extern const config_map_t extra_configs;

/// Derives device paths, topics and the information file from the setting "port". Throws
/// std::runtime_error without a port and std::out_of_range ("map::at") for one that is not
/// supported.
void config_extend(config_map_t& settings);

/// Writes every pair of `extras` into the settings, over a value that was there.
void config_extras(config_map_t& settings, const config_map_t& extras);

/// Whether the setting `key` is "1". Throws std::out_of_range ("map::at") when it is missing.
bool config_flag(const config_map_t& settings, const std::string& key);

}  // namespace sonic
