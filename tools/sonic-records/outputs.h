#pragma once

#include <memory>

#include "tools/files/scan.h"
#include "tools/sonic-records/options.h"

namespace sonic::records {

/// A table on standard output: a row a record, a file, or an event. finish() writes what is left.
class TableOutput : public Output {
 public:
  virtual void finish() = 0;
};

std::unique_ptr<TableOutput> make_record_table(const Options& options);
std::unique_ptr<TableOutput> make_summary_table(const Options& options);
std::unique_ptr<TableOutput> make_event_table(const Options& options);

}  // namespace sonic::records
