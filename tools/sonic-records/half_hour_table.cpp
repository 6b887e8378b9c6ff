#include <cmath>
#include <map>

#include "tools/half_hours/columns.h"
#include "tools/half_hours/decimal.h"
#include "tools/sonic-records/period_output.h"

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

// A row a period. All rows are printed at the end, because any file may have records of any period.
class HalfHourTable : public PeriodOutput {
 public:
  explicit HalfHourTable(const Options& options)
      : PeriodOutput(options),
        _options(options),
        _table(options.format, options.station, columns(options)) {}

 private:
  void work(uint64_t start, std::vector<Sample>& samples) override {
    _rows[start] = statistics_of(samples, start, _options.statistics);
  }

  bool finish_periods() override {
    for (const auto& [start, row] : _rows) print(row);
    _table.flush();
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
  std::map<uint64_t, Statistics> _rows;
};

}  // namespace

std::unique_ptr<TableOutput> make_half_hour_table(const Options& options) {
  return std::make_unique<HalfHourTable>(options);
}

}  // namespace sonic::records
