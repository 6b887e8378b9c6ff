#pragma once

#include <memory>

#include "tools/files/scan.h"
#include "tools/sonic-records/options.h"

namespace sonic::records {

/// A table on standard output: a row a record, a file, an event, an interval, a half hour, or a
/// file that was written.
class TableOutput : public Output {
 public:
  /// Writes what is left. False if something had to be left out, after a line on standard error.
  virtual bool finish() = 0;
};

/// Each makes the table of one task. Their failures, then and later, are std::runtime_error.
std::unique_ptr<TableOutput> make_record_table(const Options& options);
std::unique_ptr<TableOutput> make_summary_table(const Options& options);
std::unique_ptr<TableOutput> make_event_table(const Options& options);
std::unique_ptr<TableOutput> make_envelope_table(const Options& options);
std::unique_ptr<TableOutput> make_half_hour_table(const Options& options);
std::unique_ptr<TableOutput> make_split_output(const Options& options);

}  // namespace sonic::records
