#include <algorithm>
#include <array>
#include <cmath>

#include "tools/half_hours/decimal.h"
#include "tools/half_hours/rotation.h"
#include "tools/half_hours/sample.h"
#include "tools/sonic-records/outputs.h"

namespace sonic::records {

namespace {

constexpr double PARTS = PARTS_PER_UNIT;
constexpr int DIRECTION_DIGITS = 2;
constexpr const char* EXTREMES[] = {"_min", "_mean", "_max"};
constexpr const char* NAMES[] = {"u", "v", "w", "ts", "speed"};
constexpr size_t COUNT = std::size(NAMES);

std::vector<Column> columns() {
  std::vector<Column> all = {{"time", true}, {"records", false}, {"faults", false}};
  for (const char* name : NAMES) {
    for (const char* extreme : EXTREMES) all.push_back({std::string(name) + extreme, false});
  }
  all.push_back({"direction", false});
  return all;
}

// Smallest and largest of some values, and their mean.
class Envelope {
 public:
  void add(double value) {
    _low = std::min(_low, value);
    _high = std::max(_high, value);
    _sum += value;
  }
  double low() const { return _low; }
  double high() const { return _high; }
  double mean(uint64_t values) const { return _sum / static_cast<double>(values); }

 private:
  double _low = HUGE_VAL;
  double _high = -HUGE_VAL;
  double _sum = 0;
};

// A row for each interval that has records, in their order. Values are summed up in parts of a
// unit, which are whole numbers, but for the speed.
class EnvelopeTable : public TableOutput {
 public:
  explicit EnvelopeTable(const Options& options)
      : _epoch(options.epoch),
        _width(options.envelope_width),
        _table(options.format, options.station, columns()) {}

  void record(const DataLine& record, const Summary&) override {
    const uint64_t time = nanoseconds_of(record);
    const uint64_t start = time - time % _width;
    if (start != _start) {
      print();
      _start = start;
    }
    const auto values = record.has_fault ? std::nullopt : parse_values(record.values);
    if (!values) {
      ++_faults;
      return;
    }
    ++_records;
    for (size_t a = 0; a < COVARIANT; ++a) _envelopes[a].add((*values)[a]);
    const double u = (*values)[U];
    const double v = (*values)[V];
    _envelopes[COVARIANT].add(std::sqrt(u * u + v * v));
  }

  bool finish() override {
    print();
    _table.flush();
    return true;
  }

 private:
  void print() {
    if (_records + _faults == 0) return;
    std::vector<std::string> cells = {_epoch ? seconds_text(_start) : iso_text(_start),
                                      std::to_string(_records), std::to_string(_faults)};
    for (const Envelope& envelope : _envelopes) {
      for (const double value : {envelope.low(), envelope.mean(_records), envelope.high()}) {
        cells.push_back(cell(value / PARTS, VELOCITY_DIGITS));
      }
    }
    cells.push_back(cell(direction_of(_envelopes[U].mean(_records), _envelopes[V].mean(_records)),
                         DIRECTION_DIGITS));
    _table.row(cells);
    _records = _faults = 0;
    _envelopes = {};
  }

  std::string cell(double value, int digits) const {
    return _records == 0 || std::isnan(value) ? "" : fixed_text(value, digits);
  }

  const bool _epoch;
  const uint64_t _width;  // nanoseconds
  Table _table;
  uint64_t _start = 0;
  uint64_t _records = 0;
  uint64_t _faults = 0;
  std::array<Envelope, COUNT> _envelopes;
};

}  // namespace

std::unique_ptr<TableOutput> make_envelope_table(const Options& options) {
  return std::make_unique<EnvelopeTable>(options);
}

}  // namespace sonic::records
