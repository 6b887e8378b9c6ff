#include "tools/sonicd-flush/written_files.h"

#include <poll.h>
#include <sys/inotify.h>

#include <cerrno>
#include <string>

#include "base/error.h"

namespace sonic::flush {

namespace fs = std::filesystem;

namespace {

constexpr const char* FOLDERS_BEGIN = "device";
constexpr const char* DIGITS = "0123456789";
constexpr uint32_t NEW_NAME = IN_CREATE | IN_MOVED_TO;

// Room for many events; of one file that is written to again and again the kernel keeps one.
constexpr size_t BLOCK_BYTES = 4096;

bool is_data_file(const std::string& name) { return name.find_first_of(DIGITS) == 0; }

void insert_all(const fs::path& folder, std::set<fs::path>& files) {
  files.insert(folder);
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (is_data_file(entry.path().filename())) files.insert(entry.path());
  }
}

}  // namespace

WrittenFiles::WrittenFiles(const fs::path& home)
    : _home(home),
      _events(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      _home_watch(inotify_add_watch(_events.get(), home.c_str(), NEW_NAME | IN_ONLYDIR)) {
  if (_home_watch == -1) throw_error(errno, {home.native(), ": cannot be watched: "});
  watch_folders();
}

/// Returns those that were not watched yet.
std::vector<fs::path> WrittenFiles::watch_folders() {
  std::vector<fs::path> added;
  for (const fs::directory_entry& entry : fs::directory_iterator(_home)) {
    const fs::path& folder = entry.path();
    if (!folder.filename().string().starts_with(FOLDERS_BEGIN) || !entry.is_directory()) continue;
    const int watch = inotify_add_watch(_events.get(), folder.c_str(), IN_MODIFY | NEW_NAME);
    if (watch == -1) throw_error(errno, {folder.native(), ": cannot be watched: "});
    if (_folders.insert_or_assign(watch, folder).second) added.push_back(folder);
  }
  return added;
}

void WrittenFiles::wait() const {
  pollfd awaited = {_events.get(), POLLIN, 0};
  if (poll(&awaited, 1, -1) == -1 && errno != EINTR) throw_error(errno, {"poll: "});
}

std::set<fs::path> WrittenFiles::take() {
  std::set<fs::path> changed;
  alignas(inotify_event) char block[BLOCK_BYTES];
  ssize_t size = 0;
  while ((size = read(_events.get(), block, sizeof block)) > 0) {
    for (const char* at = block; at < block + size;) {
      const auto& event = *reinterpret_cast<const inotify_event*>(at);
      at += sizeof event + event.len;
      if (event.wd == _home_watch) {
        // What was written there before it was watched is unknown.
        for (const fs::path& folder : watch_folders()) insert_all(folder, changed);
      }
      const auto folder = _folders.find(event.wd);
      if (folder == _folders.end() || event.len == 0 || !is_data_file(event.name)) continue;
      changed.insert(folder->second / event.name);
      if ((event.mask & NEW_NAME) != 0) changed.insert(folder->second);
    }
  }
  if (size == -1 && errno != EAGAIN) throw_error(errno, {"inotify: "});
  return changed;
}

}  // namespace sonic::flush
