#include "serial/sonic_tty_gpio.h"

#include <fstream>
#include <stdexcept>

namespace sonic {

const std::map<std::string, int> tty2gpio = {
    {"ttyS1", 13},
    {"ttyS2", 66},
    {"ttyS4", 9},
};

namespace {

constexpr const char* GPIO_PATH = "/sys/class/gpio/gpio";

}  // namespace

sonic_tty_gpio::sonic_tty_gpio(const std::string& tty, int enable_value, int disable_value)
    : _enable_value(enable_value), _disable_value(disable_value) {
  const auto gpio = tty2gpio.find(tty);
  if (gpio == tty2gpio.end()) throw std::runtime_error(tty + " is not a sonic");
  _path = GPIO_PATH + std::to_string(gpio->second) + "/value";
}

sonic_tty_gpio::~sonic_tty_gpio() { disable(); }

void sonic_tty_gpio::enable() { _set_state(_enable_value); }

void sonic_tty_gpio::disable() { _set_state(_disable_value); }

void sonic_tty_gpio::_set_state(int value) {
  if (value == _state) return;
  std::ofstream(_path, std::ios::trunc) << value << '\n';
  _state = value;
}

}  // namespace sonic
