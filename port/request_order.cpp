#include "port/request_order.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

#include "base/error.h"

namespace sonic::port {

namespace {

// A report can be seen a moment before its event.
constexpr int MAX_LOOKS = 10;

// So long after its keys have been read a write may still be announced, if the writer had to wait
// for the processor.
constexpr std::chrono::milliseconds MAX_ANNOUNCEMENT_DELAY(100);

Descriptor watch_writes(const std::string& path) {
  Descriptor writes(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (inotify_add_watch(writes.get(), path.c_str(), IN_MODIFY) == -1) {
    throw_error(errno, {path, ": "});
  }
  return writes;
}

void add(int epoll, int fd, unsigned int what) {
  epoll_event event{};
  event.events = what | EPOLLET;
  event.data.fd = fd;
  if (epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event) == -1) throw_error(errno, {"epoll: "});
}

// Whether there were any. The kernel announces none while an earlier one is there.
bool take_all(const Descriptor& writes) {
  char event[4096];
  bool were_any = false;
  while (read(writes.get(), event, sizeof event) > 0) were_any = true;
  return were_any;
}

}  // namespace

RequestOrder::RequestOrder(int terminal, const std::string& path)
    : _terminal(terminal), _writes(watch_writes(path)), _events(epoll_create1(EPOLL_CLOEXEC)) {
  add(_events.get(), _writes.get(), EPOLLIN);
  add(_events.get(), _terminal, EPOLLPRI);
  take_events();  // the terminal is hung up, which counts as one
}

void RequestOrder::look() {
  take_events();
  for (int i = 1; i < MAX_LOOKS && !_awaits_report && has_report(); ++i) take_events();
}

// Takes all of them: one that stays would be the first next time.
void RequestOrder::take_events() {
  epoll_event events[2];
  const int count = epoll_wait(_events.get(), events, std::size(events), 0);
  const bool was_read = Clock::now() < _read_unannounced + MAX_ANNOUNCEMENT_DELAY && !has_keys();
  for (int i = 0; i < count; ++i) {
    if (events[i].data.fd == _writes.get()) {
      _awaits_keys = _awaits_keys || !was_read;
    } else if ((events[i].events & EPOLLPRI) != 0 && !_awaits_report) {
      _awaits_report = true;
      _keys_first = _awaits_keys;
    }
  }
  if (take_all(_writes)) _awaits_keys = _awaits_keys || !was_read;
}

void RequestOrder::keys_read() {
  if (!_awaits_keys) take_events();
  _read_unannounced = _awaits_keys ? Clock::time_point() : Clock::now();
  _awaits_keys = has_keys();
}

bool RequestOrder::report_read() {
  if (!_awaits_report) {  // it arrived after the last look
    take_events();
    _keys_first = _awaits_keys;
  }
  _awaits_report = false;
  return _keys_first;
}

bool RequestOrder::has_keys() const {
  int count = 0;
  return ioctl(_terminal, FIONREAD, &count) == 0 && count > 0;
}

bool RequestOrder::has_report() const {
  pollfd terminal{_terminal, POLLPRI, 0};
  return poll(&terminal, 1, 0) == 1 && (terminal.revents & POLLPRI) != 0;
}

}  // namespace sonic::port
