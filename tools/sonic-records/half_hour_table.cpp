#include <cmath>
#include <iostream>
#include <map>

#include "tools/files/file_order.h"
#include "tools/files/input.h"
#include "tools/half_hours/columns.h"
#include "tools/half_hours/decimal.h"
#include "tools/half_hours/periods.h"
#include "tools/sonic-records/outputs.h"

namespace sonic::records {

namespace {

constexpr const char* AMERIFLUX_MISSING = "-9999";

const std::vector<StatisticsColumn>& statistics_columns(ColumnNames names) {
  return names == ColumnNames::OWN ? STATISTICS_COLUMNS : AMERIFLUX_COLUMNS;
}

std::vector<Column> columns(const Options& options) {
  std::vector<Column> all = {{"start", !options.epoch}};
  if (options.names == ColumnNames::AMERIFLUX) {
    all = {{"TIMESTAMP_START", false}, {"TIMESTAMP_END", false}};
  }
  for (const StatisticsColumn& column : statistics_columns(options.names)) {
    all.push_back({column.name, false});
  }
  return all;
}

// Gives a period's records to the collector, with the file that they are from.
class PeriodInput : public Output {
 public:
  using Take = std::function<void(const Sample& sample)>;
  explicit PeriodInput(Take take) : _take(std::move(take)) {}

  void record(const DataLine& record, uint64_t rate) override {
    Sample sample;
    sample.time = nanoseconds_of(record);
    sample.rate = static_cast<uint16_t>(rate);
    const auto values = parse_values(record.values);
    sample.has_fault = record.has_fault || !values;
    sample.values = values.value_or(Values{});
    _take(sample);
  }

 private:
  const Take _take;
};

// A row a period. All rows are printed at the end, because any file may have records of any period.
class HalfHourTable : public TableOutput {
 public:
  explicit HalfHourTable(const Options& options)
      : _options(options),
        _table(options.format, options.station, columns(options)),
        _collector(options.statistics.period,
                   [this](uint64_t start, std::vector<Sample>& samples) {
                     _rows[start] = statistics_of(samples, start, _options.statistics);
                   }),
        _input([this](const Sample& sample) {
          _collector.take(static_cast<uint32_t>(_files.size() - 1), sample);
        }) {}

  void begin_file(const std::string& path) override { _files.push_back(path); }
  void record(const DataLine& record, uint64_t rate) override { _input.record(record, rate); }

  bool finish() override {
    const uint64_t missed =
        _collector.finish([this](uint32_t file, const PeriodCollector::Take& take) {
          return read_again(_files[file], take);
        });
    for (const auto& [start, row] : _rows) print(row);
    _table.flush();
    if (missed == 0) return true;
    std::cerr << "sonic-records: " << missed
              << " records came after their half hours were over and are left out, because a pipe "
                 "cannot be read again"
              << std::endl;
    return false;
  }

 private:
  bool read_again(const std::string& path, const PeriodCollector::Take& take) const {
    if (!can_be_read_twice(path)) return false;
    PeriodInput input(take);
    Scan scan(_options.range, Instruments::ANY, input);
    try {
      scan.read(path);
    } catch (const InputError&) {
      // Was reported when it was read first. What could be read counts.
    }
    return true;
  }

  void print(const Statistics& row) {
    std::vector<std::string> cells;
    if (_options.names == ColumnNames::AMERIFLUX) {
      cells = {local_minute(row.start), local_minute(row.start + _options.statistics.period)};
    } else {
      const uint64_t seconds = row.start / NANOSECONDS_PER_SECOND;
      cells = {_options.epoch ? std::to_string(seconds) : iso_seconds_text(seconds)};
    }
    const char* const missing = _options.names == ColumnNames::OWN ? "" : AMERIFLUX_MISSING;
    for (const StatisticsColumn& column : statistics_columns(_options.names)) {
      const double value = row.*column.value;
      cells.push_back(std::isnan(value) ? missing : fixed_text(value, column.digits));
    }
    _table.row(cells);
  }

  // YYYYMMDDHHMM
  std::string local_minute(uint64_t nanoseconds) const {
    const auto seconds = static_cast<int64_t>(nanoseconds / NANOSECONDS_PER_SECOND);
    std::string text;
    for (const char c : iso_seconds_text(
             static_cast<uint64_t>(std::max<int64_t>(seconds + _options.utc_offset_seconds, 0)))) {
      if (c >= '0' && c <= '9') text += c;
    }
    text.resize(sizeof("YYYYMMDDHHMM") - 1);
    return text;
  }

  const Options _options;
  Table _table;
  PeriodCollector _collector;
  PeriodInput _input;
  std::vector<std::string> _files;
  std::map<uint64_t, Statistics> _rows;
};

}  // namespace

std::unique_ptr<TableOutput> make_half_hour_table(const Options& options) {
  return std::make_unique<HalfHourTable>(options);
}

}  // namespace sonic::records
