#include "tools/sonicd-compress/compress.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>
#include <utility>

#include "base/descriptor.h"
#include "base/error.h"
#include "base/time.h"
#include "records/line_tags.h"
#include "tools/files/file_name.h"
#include "tools/files/input.h"
#include "tools/sonicd-compress/child.h"

namespace sonic::compress {

namespace fs = std::filesystem;

namespace {

constexpr auto MIN_QUIET = std::chrono::hours(1);
// Of zstd. With its usual level 3, half hours of wind become larger than with gzip. Level 9 makes
// them an eighth smaller, in 20 MB of memory. Level 19 would save a third, but needs 60 MB and
// takes forty times as long, which is a minute for each half hour on a small ARM:
// doc/performance.md has the figures.
constexpr const char* OPTIONS = "-9qc";

// A copy that is being made has the file's name between these.
const std::string PART_BEGIN = ".";
const std::string PART_END = ".zst.part";

[[noreturn]] void fail(int error, const fs::path& path, const char* what) {
  throw_error(error, {path.native(), ": ", what, ": "});
}

Descriptor open_or_fail(const fs::path& path, int flags, mode_t mode = 0) {
  Descriptor file(open(path.c_str(), flags | O_CLOEXEC, mode));
  if (!file.is_open()) fail(errno, path, "cannot open");
  return file;
}

void sync(const fs::path& path) {
  const Descriptor file = open_or_fail(path, O_RDONLY);
  if (fsync(file.get()) == -1) fail(errno, path, "cannot sync");
}

// Of a copy that root makes, too. Any other user's group need not be the file's.
void keep_rights(const Descriptor& copy, const struct stat& original, const fs::path& path) {
  if (fchown(copy.get(), original.st_uid, original.st_gid) == -1 && errno != EPERM) {
    fail(errno, path, "cannot change the owner");
  }
  if (fchmod(copy.get(), original.st_mode) == -1) fail(errno, path, "cannot change the mode");
}

// Runs zstd from `file` to `part`, which must not exist yet.
void run_zstd(const fs::path& file, const fs::path& part, const struct stat& original) {
  const Descriptor out = open_or_fail(part, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  // Opened again: the child must not hold our lease when we are gone.
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, file.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out.get(), STDOUT_FILENO);
  std::string name = "zstd";
  std::string options = OPTIONS;
  char* const arguments[] = {name.data(), options.data(), nullptr};
  pid_t pid = -1;
  const int error = posix_spawnp(&pid, "zstd", &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) fail(error, "zstd", "cannot start");
  if (Child(pid).wait() != 0) throw std::runtime_error(file.string() + ": zstd failed");
  keep_rights(out, original, part);
  // Tools that copy by time take it for the same age.
  const timespec times[] = {original.st_mtim, original.st_mtim};
  futimens(out.get(), times);
}

// A copy that cannot be read to its end, perhaps only because memory is short, may contain
// anything.
Comparison compare_copy(const fs::path& file, const fs::path& copy) try {
  return compare_contents(file, copy, WhenCut::THROW);
} catch (const InputError&) {
  return Comparison::DIFFERENT;
}

fs::path part_of(const fs::path& file) {
  return file.parent_path() / (PART_BEGIN + file.filename().string() + PART_END);
}

// A copy that is being made. It goes with its owner, unless it has got its name.
class UnfinishedCopy {
 public:
  explicit UnfinishedCopy(fs::path path) : _path(std::move(path)) {
    fs::remove(_path);  // of an interrupted run, whose zstd may still write to it
  }
  UnfinishedCopy(const UnfinishedCopy&) = delete;
  UnfinishedCopy& operator=(const UnfinishedCopy&) = delete;
  ~UnfinishedCopy() {
    std::error_code ignored;
    if (!_has_name) fs::remove(_path, ignored);
  }

  const fs::path& path() const { return _path; }

  void give_name(const fs::path& target) {
    if (rename(_path.c_str(), target.c_str()) == -1) fail(errno, target, "cannot rename");
    _has_name = true;
  }

 private:
  const fs::path _path;
  bool _has_name = false;
};

// Makes a complete and verified `target` that is on the disk before it has its name.
void make_copy(const fs::path& file, const fs::path& target, const struct stat& original) {
  UnfinishedCopy copy(part_of(file));
  run_zstd(file, copy.path(), original);
  sync(copy.path());
  if (compare_copy(file, copy.path()) != Comparison::SAME) {
    throw std::runtime_error(file.string() + ": the compressed copy differs");
  }
  copy.give_name(target);
}

// Whether it begins as the daemon's files do: a picture of one may have such a name, too.
bool is_data_file(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string expected = std::string(MODEL_TAG) + "\t";
  std::string begin(expected.size(), '\0');
  file.read(begin.data(), static_cast<std::streamsize>(begin.size()));
  return begin == expected;
}

fs::path numbered(const fs::path& file, int n) {
  return file.string() + (n == 1 ? "" : "." + std::to_string(n)) + ".zst";
}

}  // namespace

std::vector<fs::path> finished_files(const fs::path& folder) {
  const auto is_compressed = [](std::string_view name) {
    return name.ends_with(".gz") || name.ends_with(".xz") || name.ends_with(".zst");
  };
  std::map<std::string, std::map<uint64_t, fs::path>> files;  // by instrument, by start
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    const auto parsed = parse_file_name(name);
    if (!parsed || is_compressed(name) || !entry.is_regular_file() || entry.is_symlink()) continue;
    files[std::string(parsed->instrument)][parsed->start_seconds] = entry.path();
  }
  std::vector<fs::path> finished;
  const auto now = fs::file_time_type::clock::now();
  for (auto& [instrument, starts] : files) {
    starts.erase(std::prev(starts.end()));
    for (const auto& [start, path] : starts) {
      std::error_code error;  // somebody may have taken it away meanwhile
      const auto written = fs::last_write_time(path, error);
      if (!error && now - written > MIN_QUIET) finished.push_back(path);
    }
  }
  std::sort(finished.begin(), finished.end());
  return finished;
}

void remove_unfinished_copies(const fs::path& folder) {
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with(PART_BEGIN) || !name.ends_with(PART_END)) continue;
    const size_t length = name.size() - PART_BEGIN.size() - PART_END.size();
    std::error_code ignored;  // another run may have been faster
    if (!fs::exists(folder / name.substr(PART_BEGIN.size(), length))) {
      fs::remove(entry.path(), ignored);
    }
  }
}

std::string compress_file(const fs::path& file) {
  const Descriptor plain = open_or_fail(file, O_RDONLY | O_NOFOLLOW);
  if (!is_data_file(file)) return "does not begin as a data file does";
  // Two at once would take each other's unfinished copies.
  if (flock(plain.get(), LOCK_EX | LOCK_NB) == -1) return IN_USE;
  // It is refused while somebody has the file open for writing. When the daemon opens it, which it
  // does if the clock was set back, we are ended by the signal for that before it goes on.
  if (fcntl(plain.get(), F_SETLEASE, F_RDLCK) == -1) {
    if (errno == EAGAIN) return IN_USE;
    fail(errno, file, "cannot find out whether it is being written to");
  }
  struct stat original {};
  if (fstat(plain.get(), &original) == -1) fail(errno, file, "cannot look at");

  const fs::path folder = file.parent_path();
  int n = 1;
  auto compared = Comparison::SECOND_BEGINS_FIRST;  // as a copy that is not there
  while (fs::exists(numbered(file, n))) {
    compared = compare_copy(file, numbered(file, n));
    if (compared != Comparison::DIFFERENT) break;
    compared = Comparison::SECOND_BEGINS_FIRST;
    ++n;
  }
  const fs::path copy = numbered(file, n);
  if (compared == Comparison::SECOND_BEGINS_FIRST) {
    make_copy(file, copy, original);
  } else {  // of a run that ended just before it removed the plain file
    sync(copy);
  }
  sync(folder);
  if (unlink(file.c_str()) == -1) fail(errno, file, "cannot remove");
  std::cout << copy.string() << ": " << original.st_size << " bytes, now " << fs::file_size(copy)
            << std::endl;
  return "";
}

}  // namespace sonic::compress
