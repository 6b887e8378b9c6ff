#pragma once

#include <string>
#include <vector>

namespace sonic {

/// The files in the order of their first records, whatever their names are; those without a record
/// last. A file whose content is the beginning of another's, as with a plain file and its
/// compressed copy, is left out, after a line on standard error. When one of them is a pipe or the
/// like, and so cannot be read twice, they stay as they are.
std::vector<std::string> in_order_of_time(std::vector<std::string> paths);

}  // namespace sonic
