#pragma once

#include <string>
#include <vector>

#include "tools/files/scan.h"
#include "tools/sonic-records/table.h"

namespace sonic::records {

enum class task { records, summary, events };

struct Options {
  task what = task::records;
  TimeRange range;
  table_format format = table_format::tsv;
  bool epoch = false;              ///< times as seconds and nanoseconds
  std::string station;             ///< empty: no such column
  std::vector<std::string> files;  ///< never empty; "-" alone is standard input
};

/// Ends the program after help (status 0) or a wrong option (status 2).
Options parse_options(int argc, char** argv);

}  // namespace sonic::records
