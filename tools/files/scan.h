#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/files/data_line_parser.h"
#include "tools/files/record_time.h"

namespace sonic {

/// From `from` to just before `to`, in nanoseconds since 1970.
struct TimeRange {
  uint64_t from = 0;
  uint64_t to = UINT64_MAX;
};

/// What is between the good records.
enum class Event {
  GAP,          ///< no record for more than five record intervals
  CLOCK_BACK,   ///< the next record's time is before the one's before it
  RATE_CHANGE,  ///< the next record is of another rate
  RESTART,      ///< the program was started again and goes on in the same file
  FAILED,       ///< a record whose checksum does not fit
  LEFT_OUT,     ///< a record whose values or time cannot be read
  ERROR,        ///< input that was not a record
};

/// What is in a file, within the time range. Lines have no time of their own: they are where the
/// record before them is.
struct Summary {
  std::string model;          ///< these two as in the file, the first of each
  std::string serial_number;  //
  uint64_t rate = 0;  ///< records a second, of the last record; 0 when the file does not say
  uint64_t first = UINT64_MAX;  ///< earliest and latest record, nanoseconds since 1970
  uint64_t last = 0;
  uint64_t records = 0;
  uint64_t faults = 0;  ///< of them, with a diag other than 0
  double expected = 0;  ///< records by the rate, between the first record and the last
  uint64_t gaps = 0;
  uint64_t gap_nanoseconds = 0;
  uint64_t clock_back = 0;
  uint64_t restarts = 0;
  uint64_t failed = 0;
  uint64_t left_out = 0;
  uint64_t errors = 0;
  bool has_record = false;  ///< in or out of the time range
  bool has_crlf = false;    ///< records end in CR LF, so that their checksums do not fit
};

/// What is made of the files as they are read.
class Output {
 public:
  virtual ~Output() = default;
  virtual void begin_file(const std::string& /*path*/) {}
  /// `file` is what is known of the record's file so far: the instrument lines before it and the
  /// like.
  virtual void record(const DataLine&, const Summary& /*file*/) {}
  /// `before` is the time of the record before it, if any; `length` that of a gap, or how far a
  /// clock went back; both in nanoseconds.
  virtual void between(Event, std::optional<uint64_t> /*before*/, uint64_t /*length*/) {}
  virtual void end_of_file(const std::string& /*path*/, const Summary&) {}
};

/// Whether the files may be those of several instruments.
enum class Instruments { ANY, ONE };

/// Reads files one after the other and passes on what is in the time range.
class Scan {
 public:
  Scan(const TimeRange& range, Instruments instruments, Output& output)
      : _range(range), _instruments(instruments), _output(output), _is_in_range(range.from == 0) {}

  /// Throws InputError when the file cannot be read to its end; what is before that has been
  /// handed on and is in the summary. Throws std::runtime_error when there are two instruments and
  /// should be one.
  void read(const std::string& path);
  const Summary& summary() const { return _file; }  ///< of the last file

 private:
  void take_line(std::string_view line);
  void take_record(std::string_view line);
  void take_other(Event kind, uint64_t& count, uint64_t length = 0);
  void step_to(uint64_t time);
  void step_to_rate(uint64_t rate);
  void change_instrument();

  const TimeRange _range;
  const Instruments _instruments;
  Output& _output;
  std::string _path;
  Summary _file;
  uint64_t _headers = 0;               // in this file
  uint64_t _rate = 0;                  // of what follows, as rate of Summary
  std::optional<uint64_t> _rate_line;  // when the line before was one
  std::optional<uint64_t> _before;     // time of the record before, also in another file
  uint64_t _rate_before = 0;           // its rate; 0: not known
  std::string _instrument;             // serial number of that one, which is in this file:
  std::string _instrument_path;
  bool _is_in_range;  // what follows is, until the next record
};

}  // namespace sonic
