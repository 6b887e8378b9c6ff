#pragma once

#include "tools/half_hours/moments.h"

namespace sonic::records {

/// What is computed from the horizontal wind of each record. Not a number where it cannot be.
struct HorizontalWind {
  double mean_speed;           ///< m/s, of the lengths of the vectors
  double direction_deviation;  ///< degrees, as by Yamartino 1984, J. Climate Appl. Meteor. 23
  double gust;                 ///< m/s, the highest mean over 3 s (WMO-No. 8, vol. I ch. 5)
};

/// Of at least one record. A gust is the mean of records that follow each other within 3 s, as many
/// as the rate makes in that time.
HorizontalWind horizontal_wind_of(const Series& series);

}  // namespace sonic::records
