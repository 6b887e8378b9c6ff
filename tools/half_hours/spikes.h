#pragma once

#include <vector>

#include "tools/half_hours/moments.h"

namespace sonic::records {

/// Which records have a spike in u, v, w or ts: a value further from the period's median than
/// 7 MAD / 0.6745, where MAD is the median of all distances from the median (Mauder et al. 2013,
/// Agric. For. Meteor. 169). More than three of these in a row are not a spike but a gust or a
/// front. The MAD is taken for at least 0.01, the instrument's resolution, so that a calm has no
/// spikes where a value changes by its last digit.
std::vector<bool> find_spikes(const Series& series);

}  // namespace sonic::records
