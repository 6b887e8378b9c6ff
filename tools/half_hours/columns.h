#pragma once

#include <vector>

#include "tools/half_hours/statistics.h"

namespace sonic::records {

/// A column of the table of statistics after `start`.
struct StatisticsColumn {
  const char* name;
  double Statistics::*value;
  int digits;  ///< after the point
};

/// In the order in which they are printed.
extern const std::vector<StatisticsColumn> STATISTICS_COLUMNS;
/// With the names of the AmeriFlux network for half-hourly data.
extern const std::vector<StatisticsColumn> AMERIFLUX_COLUMNS;

}  // namespace sonic::records
