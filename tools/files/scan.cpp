#include "tools/files/scan.h"

#include <algorithm>
#include <utility>

#include "records/line_tags.h"
#include "tools/files/line_reader.h"

namespace sonic {

namespace {

constexpr uint64_t MAX_RATE_HZ = 1000;  // a greater number is not a rate

std::string_view rest(std::string_view line, std::string_view tag) {
  return line.substr(tag.size() + 1);
}

uint64_t rate_of(std::string_view text) {
  uint64_t rate = 0;
  for (const char c : text) {
    if (c < '0' || c > '9' || rate > MAX_RATE_HZ) return 0;
    rate = rate * 10 + static_cast<uint64_t>(c - '0');
  }
  return rate > MAX_RATE_HZ ? 0 : rate;
}

}  // namespace

void Scan::read(const std::string& path) {
  _file = {};
  _path = path;
  _headers = 0;
  _rate = 0;
  _rate_line.reset();
  Input input(path);
  LineReader lines(input);
  _output.begin_file(path);
  while (const auto line = lines.next()) take_line(*line);
}

// Lines of no known kind are passed over: an error's text and a version may span several lines.
// They may also contain what looks like a rate or a header, but hardly one right after the other.
void Scan::take_line(std::string_view line) {
  const auto rate = std::exchange(_rate_line, std::nullopt);
  if (has_tag(line, DATA_TAG)) {
    take_record(line);
  } else if (has_tag(line, ERROR_TAG)) {
    take_other(Event::ERROR, _file.errors);
  } else if (has_tag(line, HEADER_TAG) && rate) {
    if (*rate != 0) _rate = *rate;
    if (_file.records == 0) _file.rate = _rate;
    if (++_headers > 1) take_other(Event::RESTART, _file.restarts);
  } else if (has_tag(line, RATE_TAG)) {
    _rate_line = rate_of(rest(line, RATE_TAG));
  } else if (has_tag(line, MODEL_TAG) && _file.model.empty()) {
    _file.model = rest(line, MODEL_TAG);
  } else if (has_tag(line, SERIAL_NUMBER_TAG) && _file.serial_number.empty()) {
    _file.serial_number = rest(line, SERIAL_NUMBER_TAG);
  }
}

void Scan::take_record(std::string_view line) {
  DataLine record;
  switch (parse_data_line(line, record)) {
    case DataLineState::FAILED:
      _file.has_crlf = _file.has_crlf || line.back() == '\r';
      return take_other(Event::FAILED, _file.failed);
    case DataLineState::LEFT_OUT:
      return take_other(Event::LEFT_OUT, _file.left_out);
    case DataLineState::GOOD:
      break;
  }
  const uint64_t time = nanoseconds_of(record);
  _file.has_record = true;
  _is_in_range = time >= _range.from && time < _range.to;
  if (!_is_in_range) return;
  _file.rate = _rate;
  step_to(time);
  ++_file.records;
  if (record.has_fault) ++_file.faults;
  _output.record(record, _file);
}

void Scan::take_other(Event kind, uint64_t& count, uint64_t length) {
  if (!_is_in_range) return;
  ++count;
  _output.between(kind, _before, length);
}

// What the time says between the record before and this one.
void Scan::step_to(uint64_t time) {
  const uint64_t rate = _file.rate != 0 ? _file.rate : FALLBACK_RATE_HZ;
  const bool is_first = _file.records == 0;
  if (is_first) {
    _file.expected = 1;
    if (!_file.serial_number.empty()) change_instrument();  // lost with the top of a file
  }
  step_to_rate(_file.rate);
  if (_before && time < *_before) {
    take_other(Event::CLOCK_BACK, _file.clock_back, *_before - time);
  } else if (_before) {
    const uint64_t step = time - *_before;
    if (!is_first) {
      _file.expected +=
          static_cast<double>(step) / NANOSECONDS_PER_SECOND * static_cast<double>(rate);
    }
    if (step > GAP_INTERVALS * NANOSECONDS_PER_SECOND / rate) {
      if (is_first) {  // the time between two files belongs to neither
        _output.between(Event::GAP, _before, step);
      } else {
        take_other(Event::GAP, _file.gaps, step);
        _file.gap_nanoseconds += step;
      }
    }
  }
  _file.first = std::min(_file.first, time);
  _file.last = std::max(_file.last, time);
  _before = time;
}

void Scan::step_to_rate(uint64_t rate) {
  if (rate == 0) return;
  if (_rate_before != 0 && rate != _rate_before) _output.between(Event::RATE_CHANGE, _before, 0);
  _rate_before = rate;
}

// To the one of this file, which may be the same.
void Scan::change_instrument() {
  const std::string& instrument = _file.serial_number;
  if (instrument == _instrument) return;
  if (!_instrument.empty()) {
    if (_instruments == Instruments::ONE) {
      throw std::runtime_error("two instruments: " + _instrument + " in " + _instrument_path +
                               ", " + instrument + " in " + _path);
    }
    _before.reset();
    _rate_before = 0;
  }
  _instrument = instrument;
  _instrument_path = _path;
}

}  // namespace sonic
