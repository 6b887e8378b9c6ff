#pragma once

#include <termios.h>

#include <string>

#include "base/descriptor.h"

namespace sonic::port {

/// The real serial port, for this program alone: raw, 8N1, modem lines ignored, non-blocking. Its
/// settings are put back at the end. Failures are std::runtime_error whose text begins with its
/// path.
class SerialDevice {
 public:
  /// `log` gets a line where the driver has no low-latency mode.
  SerialDevice(const std::string& path, speed_t speed, void (*log)(const std::string&));

  const std::string& path() const { return _path; }
  int fd() const { return _descriptor.get(); }

  /// What has arrived, possibly nothing.
  std::string read() const;

  /// How many of the bytes there was room for.
  size_t write(const std::string& bytes) const;

  /// Whether no more than the last few of the bytes written are still to leave.
  bool has_sent() const;

  /// Sends what has been written, then changes the speed. False: refused, nothing has changed.
  bool set_speed(speed_t speed);

 private:
  /// The settings that the device had, put back by the destructor.
  struct FoundSettings {
    FoundSettings(int device, const std::string& path);
    ~FoundSettings();
    FoundSettings(const FoundSettings&) = delete;
    FoundSettings& operator=(const FoundSettings&) = delete;

    int fd;
    termios line{};
    int flags = -1;  // of the driver; -1: left as they were
  };

  void set_raw(speed_t speed);
  void set_low_latency(void (*log)(const std::string&));
  bool apply(const termios& wanted) const;

  std::string _path;
  Descriptor _descriptor;
  FoundSettings _found;
};

}  // namespace sonic::port
