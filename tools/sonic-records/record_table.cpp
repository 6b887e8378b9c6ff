#include <algorithm>

#include "tools/sonic-records/outputs.h"

namespace sonic::records {

namespace {

constexpr size_t NAMES = 6;
constexpr const char* VALUE_NAMES[NAMES] = {"u", "v", "w", "sos", "ts", "diag"};

std::vector<Column> columns(bool epoch) {
  std::vector<Column> all = {{"time", true}};
  if (epoch) all = {{"seconds", false}, {"nanoseconds", false}};
  for (const char* name : VALUE_NAMES) all.push_back({name, false});
  return all;
}

// A row a record. The values are the file's own text; reading the numbers and writing them
// again would cost time and digits.
class RecordTable : public TableOutput {
 public:
  explicit RecordTable(const Options& options)
      : _format(options.format),
        _epoch(options.epoch),
        _table(options.format, options.station, columns(options.epoch)) {}

  void record(const DataLine& record, const Summary&) override {
    OutputBuffer& out = _table.out();
    out.append(_table.row_begin());
    if (_format == TableFormat::JSON) {
      append_json(record);
    } else {
      append_time(record, _format == TableFormat::CSV ? ',' : '\t');
      append_values(record);
    }
    out.append('\n');
  }

  bool finish() override {
    _table.flush();
    return true;
  }

 private:
  void append_time(const DataLine& record, char divider) {
    OutputBuffer& out = _table.out();
    if (_epoch) {
      out.append(std::to_string(record.seconds));
      out.append(divider);
      out.append(std::to_string(record.nanoseconds));
    } else {
      out.append(_time.text(record.seconds, record.nanoseconds));
    }
    out.append(divider);
  }

  void append_values(const DataLine& record) {
    if (_format == TableFormat::TSV) return _table.out().append(record.values);
    _values = record.values;
    std::replace(_values.begin(), _values.end(), '\t', ',');
    _table.out().append(_values);
  }

  void append_json(const DataLine& record) {
    OutputBuffer& out = _table.out();
    if (_epoch) {
      out.append("\"seconds\":" + std::to_string(record.seconds) +
                 ",\"nanoseconds\":" + std::to_string(record.nanoseconds));
    } else {
      out.append("\"time\":\"");
      out.append(_time.text(record.seconds, record.nanoseconds));
      out.append('"');
    }
    std::string_view values = record.values;
    for (const char* name : VALUE_NAMES) {
      const size_t length = std::min(values.find('\t'), values.size());
      out.append(std::string(",\"") + name + "\":");
      append_json_number(values.substr(0, length));
      values.remove_prefix(std::min(length + 1, values.size()));
    }
    out.append('}');
  }

  // JSON has no numbers with leading zeros.
  void append_json_number(std::string_view number) {
    OutputBuffer& out = _table.out();
    if (number.front() == '-') {
      out.append('-');
      number.remove_prefix(1);
    }
    while (number.size() > 1 && number[0] == '0' && number[1] != '.') number.remove_prefix(1);
    out.append(number);
  }

  const TableFormat _format;
  const bool _epoch;
  Table _table;
  IsoTime _time;
  std::string _values;
};

}  // namespace

std::unique_ptr<TableOutput> make_record_table(const Options& options) {
  return std::make_unique<RecordTable>(options);
}

}  // namespace sonic::records
