#include "sonicd_flush/written_files.h"

#include <poll.h>
#include <sys/inotify.h>

#include <cctype>
#include <cerrno>
#include <system_error>

namespace sonic {

namespace fs = std::filesystem;

namespace {

constexpr uint32_t NEW_NAME = IN_CREATE | IN_MOVED_TO;

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int watch(const Descriptor& events, const fs::path& folder, uint32_t what) {
  const int watched = inotify_add_watch(events.get(), folder.c_str(), what | IN_ONLYDIR);
  if (watched == -1 && errno != ENOENT && errno != ENOTDIR) fail(folder.string());
  return watched;
}

}  // namespace

WrittenFiles::WrittenFiles(const fs::path& home)
    : _home(home), _events(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  if (_events.get() == -1) fail("inotify");
  _home_watch = watch(_events, _home, NEW_NAME);
  if (_home_watch == -1) fail(_home.string());
  watch_folders();
}

/// A folder that is watched already stays as it is.
void WrittenFiles::watch_folders() {
  for (const fs::directory_entry& entry : fs::directory_iterator(_home)) {
    if (entry.path().filename().string().rfind("device", 0) != 0) continue;
    const int watched = watch(_events, entry.path(), IN_MODIFY | NEW_NAME);
    if (watched != -1) _folders[watched] = entry.path();
  }
}

void WrittenFiles::wait() const {
  pollfd events{_events.get(), POLLIN, 0};
  while (poll(&events, 1, -1) == -1) {
    if (errno != EINTR) fail("poll");
  }
}

std::set<fs::path> WrittenFiles::take() {
  std::set<fs::path> written;
  alignas(inotify_event) char buffer[4096];
  ssize_t size = 0;
  while ((size = read(_events.get(), buffer, sizeof buffer)) > 0) {
    const inotify_event* event = nullptr;
    for (ssize_t at = 0; at < size; at += static_cast<ssize_t>(sizeof *event + event->len)) {
      event = reinterpret_cast<const inotify_event*>(buffer + at);
      if (event->wd == _home_watch) watch_folders();
      const auto folder = _folders.find(event->wd);
      if (folder == _folders.end() || event->len == 0 || !std::isdigit(event->name[0])) continue;
      written.insert(folder->second / event->name);
      if ((event->mask & NEW_NAME) != 0) written.insert(folder->second);
    }
  }
  if (size == -1 && errno != EAGAIN && errno != EINTR) fail("inotify");
  return written;
}

}  // namespace sonic
