#pragma once

#include <string>

namespace sonic {

/// The instrument's serial line: one terminal descriptor, raw and non-blocking, 8N1. No buffering,
/// no framing, no waiting. Errors are std::runtime_error whose text begins with the port's path.
class Serial {
 public:
  /// Opens at once if `open_now`, and leaves nothing open when that throws; otherwise `open` does,
  /// at `baud`.
  Serial(const std::string& port, int baud, bool open_now);
  virtual ~Serial();
  Serial(const Serial&) = delete;
  Serial& operator=(const Serial&) = delete;

  /// Opens and configures the line. After a failure the descriptor may be open; `close` or the
  /// destructor releases it.
  void open();
  /// Closing a closed port does nothing.
  void close();

  /// One system call each. Returns the bytes transferred, which may be fewer than asked, and 0 when
  /// nothing was there or a signal interrupted the call. A line that was hung up also reads as 0.
  int read(void* buf, unsigned int len);
  int write(const void* buf, unsigned int len);

  /// Discards received, unread input. A failure is only printed.
  void flush_input();

  /// Accepts 2400, 4800, 9600, 19200, 38400, 57600, 115200 and 230400.
  void set_baud(unsigned int baud);

  /// Modem lines. A failure is printed and gives -1. STAYS.
  int rts(int on);
  int rts();
  int cts();
  int _get_state();
  int _set_state(int on, int bits);

  /// For waiting on input; -1 when closed.
  int fd() const { return _fd; }

 private:
  Serial(const std::string& port, int baud);
  std::string error(const char* what) const;
  [[noreturn]] void fail(const char* what) const;

  std::string _port;
  int _fd = -1;
  int _baud;
};

}  // namespace sonic
