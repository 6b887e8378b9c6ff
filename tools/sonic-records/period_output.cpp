#include "tools/sonic-records/period_output.h"

#include <algorithm>
#include <charconv>
#include <iostream>

#include "tools/files/file_order.h"
#include "tools/files/input.h"

namespace sonic::records {

namespace {

constexpr uint16_t MAX_DIAG = UINT16_MAX;  // larger ones are printed as this

// What the instrument says, or the largest number where it has sent values that cannot be.
uint16_t diag_of(const DataLine& record, bool has_values) {
  if (!has_values) return MAX_DIAG;
  if (!record.has_fault) return 0;
  const std::string_view text = record.values.substr(record.values.rfind('\t') + 1);
  uint16_t diag = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), diag);
  return error == std::errc() ? diag : MAX_DIAG;
}

Sample sample_of(const DataLine& record, const Summary& file) {
  Sample sample;
  sample.time = nanoseconds_of(record);
  sample.rate = static_cast<uint16_t>(file.rate);
  const auto values = parse_values(record.values);
  sample.values = values.value_or(NO_VALUES);
  sample.diag = diag_of(record, values.has_value());
  return sample;
}

// Passes the records of a file that is read again.
class SecondReading : public Output {
 public:
  explicit SecondReading(const PeriodCollector::Take& take) : _take(take) {}
  void record(const DataLine& record, const Summary& file) override {
    _take(sample_of(record, file));
  }

 private:
  const PeriodCollector::Take& _take;
};

}  // namespace

PeriodOutput::PeriodOutput(const Options& options)
    : _range(options.range),
      _collector(options.statistics.period,
                 [this](uint64_t start, std::vector<Sample>& samples) { work(start, samples); }) {}

void PeriodOutput::record(const DataLine& record, const Summary& file) {
  if (_serial_number.empty()) _serial_number = file.serial_number;
  _collector.take(static_cast<uint32_t>(_paths.size() - 1), sample_of(record, file));
}

bool PeriodOutput::finish() {
  const uint64_t missed = _collector.finish(
      [this](uint32_t file, const auto& take) { return read_again(_paths[file], take); });
  const bool is_complete = finish_periods();
  if (missed == 0) return is_complete;
  std::cerr << "sonic-records: " << missed
            << " records arrived after their half hours were over and are left out, because a pipe "
               "cannot be read again"
            << std::endl;
  return false;
}

bool PeriodOutput::read_again(const std::string& path, const PeriodCollector::Take& take) const {
  if (!can_be_read_twice(path)) return false;
  SecondReading output(take);
  Scan scan(_range, Instruments::ANY, output);
  try {
    scan.read(path);
  } catch (const InputError&) {
    // Was reported when it was read first. What could be read counts.
  }
  return true;
}

}  // namespace sonic::records
