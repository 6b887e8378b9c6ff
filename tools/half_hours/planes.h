#pragma once

#include <string>
#include <vector>

#include "tools/half_hours/rotation.h"

namespace sonic::records {

/// The planes of a file as `sonic-plot --planar-fit` writes it: a line with the names of its
/// columns, from, to, periods, b0, b1 and b2, and a line for each sector of the wind's direction,
/// separated by tabs. Throws std::runtime_error, with the path in its text.
std::vector<Plane> read_planes(const std::string& path);

}  // namespace sonic::records
