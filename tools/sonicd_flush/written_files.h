#pragma once

#include <filesystem>
#include <map>
#include <set>

#include "sonic_records/process.h"

namespace sonic {

/// Learns from the kernel which data files are written to: those whose names begin with a digit, in
/// the folders "device..." of a home, also in folders that are made later. Failures are
/// std::system_error.
class WrittenFiles {
 public:
  explicit WrittenFiles(const std::filesystem::path& home);

  /// Returns when something may have been written.
  void wait() const;

  /// What has been written to since the last call: data files, and folders that have a new one.
  std::set<std::filesystem::path> take();

 private:
  void watch_folders();

  std::filesystem::path _home;
  Descriptor _events;
  int _home_watch;
  std::map<int, std::filesystem::path> _folders;  // by watch
};

}  // namespace sonic
