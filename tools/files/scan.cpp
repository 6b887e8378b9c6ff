#include "tools/files/scan.h"

#include <algorithm>
#include <utility>

#include "tools/files/line_reader.h"

namespace sonic {

namespace {

constexpr uint64_t GAP_INTERVALS = 5;
constexpr uint64_t FALLBACK_RATE = 1;  // to tell a gap in a file that lacks its rate
constexpr uint64_t FASTEST = 1000;     // what claims more is no rate

std::string_view rest(std::string_view line, std::string_view kind) {
  return line.substr(kind.size());
}

uint64_t rate_of(std::string_view text) {
  uint64_t rate = 0;
  for (const char c : text) {
    if (c < '0' || c > '9' || rate > FASTEST) return 0;
    rate = rate * 10 + static_cast<uint64_t>(c - '0');
  }
  return rate > FASTEST ? 0 : rate;
}

}  // namespace

void Scan::read(const std::string& path) {
  _file = {};
  _headers = 0;
  _rate_line.reset();
  Input input(path);
  LineReader lines(input);
  while (const auto line = lines.next()) take_line(*line);
}

// Lines of no known kind are passed over: an error's text and a version may span several lines.
// They may also hold what looks like a rate or a header, but hardly one behind the other.
void Scan::take_line(std::string_view line) {
  const auto rate = std::exchange(_rate_line, std::nullopt);
  if (is_line(line, DATA_LINE)) {
    take_record(line);
  } else if (is_line(line, ERROR_LINE)) {
    take_other(event::error, _file.errors);
  } else if (is_line(line, HEADER_LINE) && rate) {
    if (*rate != 0) _file.rate = *rate;
    if (++_headers > 1) take_other(event::restart, _file.restarts);
  } else if (is_line(line, RATE_LINE)) {
    _rate_line = rate_of(rest(line, RATE_LINE));
  } else if (is_line(line, MODEL_LINE) && _file.model.empty()) {
    _file.model = rest(line, MODEL_LINE);
  } else if (is_line(line, SERIAL_NUMBER_LINE) && _file.serial_number.empty()) {
    _file.serial_number = rest(line, SERIAL_NUMBER_LINE);
  }
}

void Scan::take_record(std::string_view line) {
  data_line_t record;
  switch (read_data_line(line, record)) {
    case data_line_state::failed:
      return take_other(event::failed, _file.failed);
    case data_line_state::left_out:
      return take_other(event::left_out, _file.left_out);
    case data_line_state::good:
      break;
  }
  const uint64_t time = nanoseconds_of(record);
  _file.has_record = true;
  _is_in_range = time >= _range.from && time < _range.to;
  if (!_is_in_range) return;
  step_to(time);
  ++_file.records;
  if (record.has_fault) ++_file.faults;
  _output.record(record);
}

void Scan::take_other(event kind, uint64_t& count, uint64_t length) {
  if (!_is_in_range) return;
  ++count;
  _output.between(kind, _before, length);
}

/// What the time says between the record before and this one.
void Scan::step_to(uint64_t time) {
  const uint64_t rate = _file.rate != 0 ? _file.rate : FALLBACK_RATE;
  const bool is_first = _file.records == 0;
  if (is_first) {
    _file.expected = 1;
    const std::string& instrument = _file.serial_number;  // none where the top of the file is lost
    if (!instrument.empty() && !_instrument.empty() && instrument != _instrument) _before.reset();
    if (!instrument.empty()) _instrument = instrument;
  }
  if (_before && time < *_before) {
    take_other(event::clock_back, _file.clock_back, *_before - time);
  } else if (_before) {
    const uint64_t step = time - *_before;
    if (!is_first) {
      _file.expected +=
          static_cast<double>(step) / NANOSECONDS_A_SECOND * static_cast<double>(rate);
    }
    if (step > GAP_INTERVALS * NANOSECONDS_A_SECOND / rate) {
      if (is_first) {  // the time between two files is no file's own
        _output.between(event::gap, _before, step);
      } else {
        take_other(event::gap, _file.gaps, step);
        _file.gap_nanoseconds += step;
      }
    }
  }
  _file.first = std::min(_file.first, time);
  _file.last = std::max(_file.last, time);
  _before = time;
}

}  // namespace sonic
