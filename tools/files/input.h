#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/descriptor.h"

struct archive;

namespace sonic {

/// Why a file cannot be read, without its path.
class InputError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

inline constexpr const char* STANDARD_INPUT = "-";  ///< as a path

/// A file's bytes from its beginning, decompressed when they are compressed by gzip, zstd or xz,
/// whatever the file's name is. All failures are InputError.
class Input {
 public:
  explicit Input(const std::string& path);
  ~Input();
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  /// Up to `size` bytes; 0 at the end.
  size_t read(char* bytes, size_t size);

 private:
  void decompress();
  size_t read_block(const void** block);

  Descriptor _descriptor;
  std::string _ahead;  // read to know the kind of content, not yet handed out
  std::unique_ptr<archive, int (*)(archive*)> _decompressor;
  std::vector<char> _block;  // of compressed bytes, the decompressor's until it asks for the next
};

/// How two files' bytes, decompressed, compare.
enum class Comparison { SAME, FIRST_BEGINS_SECOND, SECOND_BEGINS_FIRST, DIFFERENT };
/// What a file is that cannot be read on: at its end, or an InputError.
enum class WhenCut { END, THROW };
Comparison compare_contents(const std::string& first, const std::string& second, WhenCut when_cut);

}  // namespace sonic
