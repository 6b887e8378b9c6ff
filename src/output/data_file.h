#pragma once

#include <cstddef>
#include <string>

namespace sonic {

/// Start of the half hour in which `t` is (seconds of the Unix epoch), and the next boundary after
/// it.
unsigned long long time_last_half_hour(unsigned long long t);
unsigned long long time_next_half_hour(unsigned long long t);

/// Path of the data file for record time `t`, named by the start of its half hour.
std::string sonic_data_filename(unsigned long long t, const std::string& sonic_id,
                                const std::string& serial);

/// Writer of the data files: one file open at a time, only ever appended to, so that a restart
/// within the half hour continues it. Every write is one system call that must take everything;
/// failures are std::runtime_error. In console-only mode lines go to standard output and no file is
/// opened.
class logging {
 public:
  logging() = default;
  explicit logging(bool console_only);
  logging(const void*) = delete;  // a name would be taken for "true"
  ~logging();
  logging(const logging&) = delete;
  logging& operator=(const logging&) = delete;

  /// Closes the current file and opens `name`. After a failure no file is open.
  void new_log(const std::string& name);

  /// Writes `text`, and a line feed if `newline`; throws when no file is open. In console-only mode
  /// it prints both, whatever `newline` says.
  void log(const std::string& text, bool newline);
  /// Writes the bytes as they are. Without an open file, and so in console-only mode, the write is
  /// tried all the same and throws. STAYS.
  void log(unsigned char* bytes, unsigned int length);

  bool is_open() const { return _descriptor != -1; }

 private:
  void _open(const std::string& name);
  void _close();
  void _write(const void* bytes, size_t length);

  std::string _name;
  int _descriptor = -1;
  bool _console_only = false;
};

}  // namespace sonic
