#include "app/command_line.h"

#include <iostream>
#include <stdexcept>

namespace sonic {

// Fast publishing is on by default and its switch turns it on: there is no way to turn it off.
const std::vector<std::vector<std::string>> base_config_items = {
    {"console_only", "0", "-c", "--console", "", "Print all output to console"},
    {"fast_pub", "1", "-f", "--fast-pub", "", "Fast publishing output"},
    {"iterations", "0", "-n", "", "<n>", "Number of sample iterations"},
    {"output_rate", "0", "-r", "--output-rate", "<r>", "Sample output rate"},
    {"port", "", "-p", "--port", "<port>", "Use this serial port"},
    {"verbose", "0", "-v", "--verbose", "", "Verbose output"},
};

namespace {

// Places of the six texts.
constexpr size_t KEY = 0;
constexpr size_t DEFAULT = 1;
constexpr size_t SHORT = 2;
constexpr size_t LONG = 3;
constexpr size_t ARGUMENT = 4;
constexpr size_t HELP = 5;

constexpr const char* INDENT = "\t\t";

}  // namespace

config_map_t base_config() {
  config_map_t defaults;
  for (const auto& item : base_config_items) defaults[item[KEY]] = item[DEFAULT];
  return defaults;
}

std::pair<std::string, bool> config_map_switch(std::string arg) {
  for (const auto& item : base_config_items) {
    if (arg == item[SHORT] || arg == item[LONG]) return {item[KEY], !item[ARGUMENT].empty()};
  }
  return {"", false};
}

config_map_t command_line(int argc, const char** argv) {
  config_map_t settings = base_config();
  std::cout << "argc=" << argc << std::endl;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    std::cout << "i=" << i << ", " << option << std::endl;
    const auto [key, takes_value] = config_map_switch(option);
    std::cout << "id='" << key << "', arg=" << takes_value << std::endl;
    if (key.empty()) throw std::runtime_error("Unknown option '" + option + "'");
    if (takes_value && i + 1 >= argc) {
      throw std::runtime_error("Missing argument for '" + option + "'");
    }
    const std::string value = takes_value ? argv[++i] : "1";
    std::cout << "id '" << key << "' -> '" << value << "'" << std::endl;
    settings[key] = value;
  }
  return settings;
}

std::ostream& base_config_help(const std::string& program, std::ostream& out) {
  out << program << " [ <options>* }" << std::endl;
  out << INDENT << "<no parameters> .... Print this help and exit" << std::endl << std::endl;
  for (const auto& item : base_config_items) {
    const std::string argument = item[ARGUMENT].empty() ? "" : " " + item[ARGUMENT];
    out << INDENT << item[SHORT] << argument;
    if (!item[LONG].empty()) out << ", " << item[LONG] << argument;
    out << " .... " << item[HELP] << std::endl;
  }
  return out;
}

}  // namespace sonic
