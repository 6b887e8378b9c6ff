// The settings of a run: command line, what follows from the port, the instrument's defaults.

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

#include "app/command_line.h"
#include "cases.h"
#include "support.h"

namespace sonic {

namespace {

void sonicd(Serial&, const std::string& command, bool) {
  std::istringstream words("sonicd " + command);
  std::vector<std::string> texts;
  for (std::string word; words >> std::quoted(word);) texts.push_back(word);
  std::vector<const char*> arguments;
  for (const std::string& text : texts) arguments.push_back(text.c_str());

  config_map_t settings;
  {
    Printed elsewhere;
    settings = command_line(static_cast<int>(arguments.size()), arguments.data());
    config_extend(settings);
    config_extras(settings, extra_configs);
  }
  for (const auto& [key, value] : settings) std::cout << key << "=" << value << std::endl;
}

}  // namespace

TEST(SettingsTest, Cases) { play("command_line", {{"sonicd", sonicd}}); }

}  // namespace sonic
