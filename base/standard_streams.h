#pragma once

namespace sonic {

/// Opens /dev/null for each standard stream that is closed. Otherwise the first file that the
/// program opens becomes a standard stream, and what is printed goes to that file.
void open_standard_streams();

}  // namespace sonic
