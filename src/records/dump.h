#pragma once

#include <ostream>

namespace sonic {

/// Writes a diagnostic hex dump: a line with the count, then rows of 16 bytes, each as its
/// printable text (other bytes as "."), a blank and the bytes in hexadecimal.
void dump(std::ostream& out, const void* data, int length);

/// The same, to standard output.
void dump(const void* data, int length);

}  // namespace sonic
