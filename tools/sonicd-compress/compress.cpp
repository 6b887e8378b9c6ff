#include "tools/sonicd-compress/compress.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <regex>
#include <stdexcept>

#include "records/data_line.h"
#include "tools/files/input.h"

namespace sonic::compress {

namespace fs = std::filesystem;

namespace {

constexpr auto QUIET = std::chrono::hours(1);
constexpr unsigned long long HALF_HOUR = 1800;

[[noreturn]] void fail(const fs::path& path, const char* what, int error) {
  throw std::runtime_error(path.string() + ": " + what + ": " + strerror(error));
}

Descriptor open_or_fail(const fs::path& path, int flags, mode_t mode = 0) {
  Descriptor file(open(path.c_str(), flags | O_CLOEXEC, mode));
  if (file.get() == -1) fail(path, "cannot open", errno);
  return file;
}

void sync(const fs::path& path) {
  const Descriptor file = open_or_fail(path, O_RDONLY);
  if (fsync(file.get()) == -1) fail(path, "cannot sync", errno);
}

/// Runs zstd from `file` to `part`, which must not exist yet.
void run_zstd(const fs::path& file, const fs::path& part, const struct stat& original) {
  const Descriptor out = open_or_fail(part, O_WRONLY | O_CREAT | O_EXCL, original.st_mode);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  // Opened anew: the child must not keep our lease when we are gone.
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, file.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out.get(), STDOUT_FILENO);
  std::string name = "zstd";
  std::string options = "-qc";
  char* const arguments[] = {name.data(), options.data(), nullptr};
  pid_t pid = -1;
  const int error = posix_spawnp(&pid, "zstd", &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) fail("zstd", "cannot start", error);
  if (Child(pid).wait() != 0) throw std::runtime_error(file.string() + ": zstd failed");
  // Tools that copy by time take it for the same age.
  const timespec times[] = {original.st_mtim, original.st_mtim};
  futimens(out.get(), times);
}

/// A copy that cannot be read to its end holds nobody knows what, perhaps only for want of memory.
contents compare_copy(const fs::path& file, const fs::path& copy) try {
  return compare_contents(file, copy, cut::throws);
} catch (const input_error&) {
  return contents::different;
}

/// Makes a complete and verified `target` that is on the disk before it has its name.
void make_copy(const fs::path& file, const fs::path& target, const struct stat& original) {
  const fs::path part = file.parent_path() / ("." + file.filename().string() + ".zst.part");
  fs::remove(part);  // of an interrupted run, whose zstd may still write to it
  try {
    run_zstd(file, part, original);
    sync(part);
    if (compare_copy(file, part) != contents::same) {
      throw std::runtime_error(file.string() + ": the compressed copy differs");
    }
    if (rename(part.c_str(), target.c_str()) == -1) fail(target, "cannot rename", errno);
  } catch (...) {
    std::error_code ignored;
    fs::remove(part, ignored);
    throw;
  }
}

/// Whether it begins as the daemon's files do: a picture of one may have such a name, too.
bool is_data_file(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string begin(MODEL_LINE.size(), '\0');
  file.read(begin.data(), static_cast<std::streamsize>(begin.size()));
  return !file.is_open() || begin == MODEL_LINE;  // that it cannot be opened is said later
}

fs::path numbered(const fs::path& file, int n) {
  return file.string() + (n == 1 ? "" : "." + std::to_string(n)) + ".zst";
}

}  // namespace

std::vector<fs::path> finished_files(const fs::path& folder) {
  static const std::regex form("(\\d{1,19})\\.(.+)");
  static const std::regex compressed(".*\\.(gz|xz|zst)");
  std::map<std::string, std::map<unsigned long long, fs::path>> files;  // by instrument, by start
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    std::smatch match;
    if (!entry.is_regular_file() || entry.is_symlink() || !std::regex_match(name, match, form) ||
        std::regex_match(name, compressed)) {
      continue;
    }
    const unsigned long long start = std::stoull(match[1]);
    if (start % HALF_HOUR == 0) files[match[2]][start] = entry.path();
  }
  std::vector<fs::path> finished;
  const auto now = fs::file_time_type::clock::now();
  for (auto& [instrument, starts] : files) {
    starts.erase(std::prev(starts.end()));
    for (const auto& [start, path] : starts) {
      std::error_code error;  // somebody may have taken it away meanwhile
      const auto written = fs::last_write_time(path, error);
      if (!error && now - written > QUIET && is_data_file(path)) finished.push_back(path);
    }
  }
  std::sort(finished.begin(), finished.end());
  return finished;
}

bool compress_file(const fs::path& file) {
  const Descriptor plain = open_or_fail(file, O_RDONLY | O_NOFOLLOW);
  // It is refused while somebody has the file open for writing. When the daemon opens it, which it
  // does if the clock was set back, we are ended by the signal for that before it goes on.
  if (fcntl(plain.get(), F_SETLEASE, F_RDLCK) == -1) {
    if (errno == EAGAIN) return false;
    fail(file, "cannot tell whether it is written to", errno);
  }
  struct stat original {};
  if (fstat(plain.get(), &original) == -1) fail(file, "cannot look at", errno);

  const fs::path folder = file.parent_path();
  int n = 1;
  auto compared = contents::second_begins_first;  // as a copy that is not there
  while (fs::exists(numbered(file, n))) {
    compared = compare_copy(file, numbered(file, n));
    if (compared != contents::different) break;
    compared = contents::second_begins_first;
    ++n;
  }
  const fs::path copy = numbered(file, n);
  if (compared == contents::second_begins_first) {
    make_copy(file, copy, original);
  } else {  // of a run that ended just before it removed the plain file
    sync(copy);
  }
  sync(folder);
  if (unlink(file.c_str()) == -1) fail(file, "cannot remove", errno);
  std::cout << copy.string() << ": " << original.st_size << " bytes, now " << fs::file_size(copy)
            << std::endl;
  return true;
}

}  // namespace sonic::compress
