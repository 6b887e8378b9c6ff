#include "tools/sonicd-flush/written_files.h"

#include <sys/inotify.h>
#include <unistd.h>

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

void insert_all(const fs::path& folder, std::set<fs::path>& changed) {
  changed.insert(folder);
  std::error_code gone;
  for (fs::directory_iterator entry(folder, gone), end; !gone && entry != end;
       entry.increment(gone)) {
    if (is_data_file(entry->path().filename())) changed.insert(entry->path());
  }
}

}  // namespace

WrittenFiles::WrittenFiles(const fs::path& home)
    : _home(home), _events(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  if (!_events.is_open()) throw_error(errno, {"inotify: "});
  // A file that goes on is written to again soon. The others may be those of years.
  watch_folders();
}

// Returns those that were not watched yet.
std::vector<fs::path> WrittenFiles::watch_folders() {
  std::vector<fs::path> added;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(_home, error)) {
    if (!entry.path().filename().string().starts_with(FOLDERS_BEGIN)) continue;
    // The folder, also where the name is a link to it.
    const fs::path folder = entry.path() / "";
    const int watch =
        inotify_add_watch(_events.get(), folder.c_str(), IN_MODIFY | NEW_NAME | IN_ONLYDIR);
    if (watch == -1) continue;
    if (_folders.insert_or_assign(watch, folder).second) added.push_back(folder);
  }
  if (error) throw_error(error.value(), {_home.native(), ": "});
  return added;
}

std::set<fs::path> WrittenFiles::take() {
  std::set<fs::path> changed;
  // What was written there before it was watched is unknown.
  for (const fs::path& folder : watch_folders()) insert_all(folder, changed);
  alignas(inotify_event) char block[BLOCK_BYTES];
  ssize_t size = 0;
  while ((size = read(_events.get(), block, sizeof block)) > 0) {
    for (const char* at = block; at < block + size;) {
      const auto& event = *reinterpret_cast<const inotify_event*>(at);
      at += sizeof event + event.len;
      if ((event.mask & IN_Q_OVERFLOW) != 0) {
        for (const auto& [watch, folder] : _folders) insert_all(folder, changed);
      }
      const auto folder = _folders.find(event.wd);
      if (folder == _folders.end()) continue;
      if ((event.mask & IN_IGNORED) != 0) {
        _folders.erase(folder);  // it is gone
      } else if (event.len != 0 && is_data_file(event.name)) {
        changed.insert(folder->second / event.name);
        if ((event.mask & NEW_NAME) != 0) changed.insert(folder->second);
      }
    }
  }
  if (size == -1 && errno != EAGAIN) throw_error(errno, {"inotify: "});
  return changed;
}

}  // namespace sonic::flush
