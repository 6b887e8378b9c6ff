#pragma once

#include <termios.h>

#include <string>

namespace sonic::port {

/// The real serial port, for this program alone: raw, 8N1, modem lines ignored, non-blocking. Its
/// settings are put back at the end. Failures are std::runtime_error whose text begins with its
/// path.
class SerialDevice {
 public:
  /// `log` gets a line where the driver knows no low latency.
  SerialDevice(const std::string& path, speed_t speed, void (*log)(const std::string&));
  ~SerialDevice();
  SerialDevice(const SerialDevice&) = delete;
  SerialDevice& operator=(const SerialDevice&) = delete;

  const std::string& path() const { return _path; }
  int fd() const { return _fd; }

  /// What has arrived, possibly nothing.
  std::string read() const;

  /// How many of the bytes there was room for.
  size_t write(const std::string& bytes) const;

  /// Whether no more than the last few of the bytes written are still to leave.
  bool has_sent() const;

  /// Sends what has been written, then changes the speed. False: refused, nothing has changed.
  bool set_speed(speed_t speed);

 private:
  void lock() const;
  void set_raw(speed_t speed);
  void set_low_latency(void (*log)(const std::string&));
  bool apply(const termios& wanted) const;
  void put_back() const;

  std::string _path;
  int _fd;
  termios _found{};
  int _found_flags = -1;  // -1: left as they were
};

}  // namespace sonic::port
