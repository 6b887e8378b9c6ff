#include "output/data_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <stdexcept>

#include "app/configuration.h"
#include "base/error.h"
#include "base/time.h"

namespace sonic {

namespace {

constexpr int OPEN_FLAGS = O_WRONLY | O_CREAT | O_APPEND | O_NOATIME | O_CLOEXEC;
constexpr mode_t OPEN_MODE = 0755;

}  // namespace

unsigned long long time_last_half_hour(unsigned long long t) {
  return t / SECONDS_PER_HALF_HOUR * SECONDS_PER_HALF_HOUR;
}

unsigned long long time_next_half_hour(unsigned long long t) {
  return (t + SECONDS_PER_HALF_HOUR) / SECONDS_PER_HALF_HOUR * SECONDS_PER_HALF_HOUR;
}

std::string sonic_data_filename(unsigned long long t, const std::string& sonic_id,
                                const std::string& serial) {
  return COMMON_OUTPUT_DATA_PATH + "/" + std::to_string(time_last_half_hour(t)) + "." + sonic_id +
         "." + serial;
}

logging::logging(bool console_only) : _console_only(console_only) {}

logging::~logging() { _close(); }

void logging::new_log(const std::string& name) {
  if (_console_only) {
    std::cout << "logging: switching to '" << name << "'" << std::endl;
    return;
  }
  _close();
  _open(name);
}

void logging::_open(const std::string& name) {
  _descriptor = ::open(name.c_str(), OPEN_FLAGS, OPEN_MODE);
  if (_descriptor == -1) throw_error(errno, {"logging error opening '", name, "': "});
  _name = name;
}

void logging::_close() {
  // Descriptor 0 stays open: it is standard input, and nothing else is to take its place.
  if (_descriptor > 0) ::close(_descriptor);
  _descriptor = -1;
  _name.clear();
}

void logging::log(const std::string& text, bool newline) {
  if (_console_only) {
    std::cout << text << std::endl;
    return;
  }
  if (!is_open()) throw std::runtime_error("logging error no file open");
  _write(text.data(), text.size());
  if (newline) _write("\n", 1);
}

void logging::log(unsigned char* bytes, unsigned int length) { _write(bytes, length); }

void logging::_write(const void* bytes, size_t length) {
  const ssize_t written = ::write(_descriptor, bytes, length);
  if (written == -1) throw_error(errno, {"logging error '", _name, "': "});
  if (static_cast<size_t>(written) != length) {
    throw std::runtime_error("logging error '" + _name + "': partial write");
  }
}

}  // namespace sonic
