#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tools/files/record_time.h"
#include "tools/sonic-records/outputs.h"
#include "tools/sonic-records/table.h"

namespace sonic::records {

/// A table whose rows are complete when they are written.
class PlainTable : public TableOutput {
 public:
  bool finish() override {
    _table.flush();
    return true;
  }

 protected:
  PlainTable(const Options& options, std::vector<Column> columns)
      : _epoch(options.epoch), _table(options.format, options.station, std::move(columns)) {}

  void row(const std::vector<std::string>& cells) { _table.row(cells); }

  /// As the options have it: since 1970 in seconds, or in the form of ISO 8601.
  std::string time(uint64_t nanoseconds) const {
    return _epoch ? seconds_text(nanoseconds) : iso_text(nanoseconds);
  }

 private:
  const bool _epoch;
  Table _table;
};

}  // namespace sonic::records
