#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/files/scan.h"
#include "tools/half_hours/statistics.h"
#include "tools/sonic-records/table.h"

namespace sonic::records {

/// Which table is made.
enum class Task { RECORDS, SUMMARY, EVENTS, ENVELOPE, HALF_HOURS, SPLIT };
/// Of the half hours: this program's, or those of the AmeriFlux network.
enum class ColumnNames { OWN, AMERIFLUX };

/// What the command line says.
struct Options {
  Task task = Task::RECORDS;
  TimeRange range;
  TableFormat format = TableFormat::TSV;
  bool epoch = false;              ///< times as seconds and nanoseconds
  std::string station;             ///< empty: no such column
  std::vector<std::string> files;  ///< never empty; STANDARD_INPUT is alone

  uint64_t envelope_width = 0;  ///< nanoseconds

  std::string split_folder;
  bool keep_faults = false;  ///< in files of Task::SPLIT: the values of records with a fault

  /// Of the half hours; Task::SPLIT has the period, too.
  StatisticsOptions statistics;
  ColumnNames names = ColumnNames::OWN;
  int64_t utc_offset_seconds = 0;  ///< of the times with the names of others
};

/// Nothing when help or version was asked for and has been printed. Throws UsageError, and
/// std::runtime_error for a file with a planar fit that cannot be read.
std::optional<Options> parse_options(int argc, char* const argv[]);

}  // namespace sonic::records
