#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <vector>

#include "base/descriptor.h"

namespace sonic::flush {

/// Learns from the kernel which data files are appended to. Data files are those whose names begin
/// with a digit, in the folders "device..." of a home. A folder that cannot be watched is passed
/// over. Other failures are std::runtime_error.
class WrittenFiles {
 public:
  explicit WrittenFiles(const std::filesystem::path& home);

  /// What has changed since the last call: data files, and folders in which one is new. Looks for
  /// new folders first: all files of one count as changed.
  std::set<std::filesystem::path> take();

 private:
  std::vector<std::filesystem::path> watch_folders();

  std::filesystem::path _home;
  Descriptor _events;
  std::map<int, std::filesystem::path> _folders;  // by watch
};

}  // namespace sonic::flush
