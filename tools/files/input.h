#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

#include "base/descriptor.h"
#include "tools/files/child.h"

namespace sonic {

/// Why a file cannot be read, without its path.
class InputError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A file's bytes from its beginning, decompressed when they are compressed: by the programs gzip,
/// zstd and xz, whatever the file's name is. All failures are InputError.
class Input {
 public:
  explicit Input(const std::string& path);  ///< "-" is standard input

  /// Up to `size` bytes; 0 at the end. Throws as well when the decompression failed, at its end.
  size_t read(char* bytes, size_t size);

 private:
  void decompress(const char* program);

  Descriptor _descriptor;
  std::string _ahead;              // read to know the kind of content, not yet handed out
  const char* _program = nullptr;  // what decompresses
  Child _feeder;                   // gives a pipe's bytes to it, those read ahead first
  Child _decompressor;
};

/// How two files' bytes, decompressed, compare.
enum class Comparison { SAME, FIRST_BEGINS_SECOND, SECOND_BEGINS_FIRST, DIFFERENT };
/// What a file is that cannot be read on: at its end, or an InputError.
enum class WhenCut { END, THROW };
Comparison compare_contents(const std::string& first, const std::string& second, WhenCut when_cut);

}  // namespace sonic
