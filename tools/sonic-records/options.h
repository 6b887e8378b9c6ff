#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/files/scan.h"
#include "tools/sonic-records/table.h"

namespace sonic::records {

enum class Task { RECORDS, SUMMARY, EVENTS };

struct Options {
  Task task = Task::RECORDS;
  TimeRange range;
  TableFormat format = TableFormat::TSV;
  bool epoch = false;              ///< times as seconds and nanoseconds
  std::string station;             ///< empty: no such column
  std::vector<std::string> files;  ///< never empty; "-" alone is standard input
};

/// Nothing when help or version was asked for and has been printed. Throws UsageError.
std::optional<Options> parse_options(int argc, char* const argv[]);

}  // namespace sonic::records
