#pragma once

#include <string>
#include <vector>

namespace sonic {

/// The files in the order of their first records, whatever their names are; those without a record
/// last. A file that another one holds already, as a plain file and its compressed copy do, is left
/// out, after a line on standard error: the longer one counts. When one of them is a pipe or the
/// like and so cannot be read twice, they stay as they are.
std::vector<std::string> in_order_of_time(std::vector<std::string> paths);

}  // namespace sonic
