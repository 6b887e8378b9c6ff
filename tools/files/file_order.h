#pragma once

#include <string>
#include <vector>

#include "tools/files/scan.h"

namespace sonic {

/// False for a pipe and the like. A file that cannot be opened, which is reported later, can.
bool can_be_read_twice(const std::string& path);

/// The files in the order of their first records; those without a record last. A file that the
/// daemon has named is known by its name, and opened only if another one is of the same half hour.
///
/// A file whose content is the beginning of another's, as with a plain file and its compressed
/// copy, is left out, after a line on standard error. Two that have the same first record and
/// differ both stay, after a line, too. Files with names by which they cannot have a record in the
/// range are left out without one: those of half hours before it, and those of a day or more after
/// it. A clock that was set back puts earlier records into a file; one that was more than a day
/// ahead is left to the user, who gives no end of the range then.
///
/// When one of them is a pipe or the like, and so cannot be read twice, they stay as they are.
std::vector<std::string> in_order_of_time(std::vector<std::string> paths, const TimeRange& range);

}  // namespace sonic
