#include "port/offered_port.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

#include "base/error.h"
#include "serial/speeds.h"

namespace sonic::port {

namespace {

using std::chrono::milliseconds;

// The kernel reports changed settings while this flag is among them. A user that sets all of them
// clears it, and often makes the next change at once: the flag is set again when that is over.
constexpr tcflag_t REPORT_CHANGES = EXTPROC;
constexpr milliseconds SETTINGS_AT_REST(10);

// What was written is announced before it can be read, which takes the kernel some microseconds.
constexpr milliseconds ANNOUNCED_KEYS(20);
constexpr int MAX_PACKETS = 16;  // more than it keeps

void watch(int epoll, int fd, unsigned int what) {
  epoll_event event{};
  event.events = what | EPOLLET;
  event.data.fd = fd;
  if (epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event) == -1) throw_error(errno, {"epoll: "});
}

}  // namespace

OfferedPort::OfferedPort(const std::string& link, unsigned int baud)
    : _terminal(link, baud),
      _events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
      _order(epoll_create1(EPOLL_CLOEXEC)),
      _speed(speed_code(baud).value()) {
  const int packets = 1;
  if (ioctl(_terminal.fd(), TIOCPKT, &packets) == -1) throw_error(errno, {path(), ": "});
  if (inotify_add_watch(_events.get(), path().c_str(), IN_OPEN | IN_MODIFY) == -1) {
    throw_error(errno, {path(), ": "});
  }
  watch(_order.get(), _events.get(), EPOLLIN);
  watch(_order.get(), _terminal.fd(), EPOLLPRI);
  ask_for_reports();
}

pollfd OfferedPort::awaited(bool for_requests, bool for_room) const {
  if (!_in_use)
    return {_events.get(), POLLIN, 0};  // the terminal would report its hang-up all the time
  const int what = (for_requests ? POLLIN : 0) | (for_room ? POLLOUT : 0);
  return {_terminal.fd(), static_cast<short>(what), 0};
}

int OfferedPort::patience() const {
  return _in_use && !_reports ? static_cast<int>(SETTINGS_AT_REST.count()) : -1;
}

bool OfferedPort::notice(const pollfd& awaited) {
  if (awaited.revents == 0) return false;
  if (!_in_use) {
    forget_writes();
    _in_use = _terminal.in_use();
    return _in_use;
  }
  if ((awaited.revents & POLLHUP) == 0) return false;
  _in_use = false;
  forget_unread();
  ask_for_reports();
  return true;
}

std::vector<Request> OfferedPort::requests() {
  std::vector<Request> requests;
  take_packet(requests);
  if (!_reports && Clock::now() - _last_change > SETTINGS_AT_REST) ask_for_reports();
  return requests;
}

bool OfferedPort::has_more() const {
  return _terminal.wait(true, false, milliseconds::zero()).readable;
}

// A report comes ahead of all that can be read, and does not say what was written before it. That
// must be asked first: the report is forgotten when it is read.
void OfferedPort::take_packet(std::vector<Request>& requests) {
  const bool written_first = was_written_first();
  const std::string packet = _terminal.read();
  if (!_reports) take_speed(requests);
  if (packet.empty()) return;
  const int report = static_cast<unsigned char>(packet[0]);
  if (report == TIOCPKT_DATA) {
    forget_writes();
    requests.push_back({Request::What::KEYS, packet.substr(1), _speed});
    return;
  }
  if ((report & TIOCPKT_FLUSHREAD) != 0) requests.push_back({Request::What::FLUSH, "", _speed});
  if ((report & TIOCPKT_IOCTL) == 0) return;
  if (written_first) {
    _terminal.wait(true, false, ANNOUNCED_KEYS);
    for (int i = 0; i < MAX_PACKETS; ++i) take_packet(requests);
  }
  take_speed(requests);
}

void OfferedPort::take_speed(std::vector<Request>& requests) {
  termios settings;
  if (tcgetattr(_terminal.fd(), &settings) == -1) throw_error(errno, {path(), ": "});
  const bool reports = (settings.c_lflag & REPORT_CHANGES) != 0;
  const speed_t speed = cfgetospeed(&settings);
  if (speed != _speed || reports != _reports) _last_change = Clock::now();
  _reports = reports;
  if (speed == _speed || speed == B0) return;  // none at all is set on the way to another
  _speed = speed;
  requests.push_back({Request::What::SPEED, "", speed});
}

// A user that changes its settings in this very moment would lose that change: the kernel can only
// set all of them at once.
void OfferedPort::ask_for_reports() {
  termios settings;
  if (tcgetattr(_terminal.fd(), &settings) == -1) throw_error(errno, {path(), ": "});
  settings.c_lflag |= REPORT_CHANGES;
  if (tcsetattr(_terminal.fd(), TCSANOW, &settings) == -1) throw_error(errno, {path(), ": "});
  _reports = true;
}

// The pseudo-terminal would keep it for the next user.
void OfferedPort::forget_unread() const {
  const Descriptor user(open(path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!user.is_open()) throw_error(errno, {path(), ": "});
  tcflush(user.get(), TCIFLUSH);
}

// Since the last call of forget_writes.
bool OfferedPort::was_written_first() const {
  epoll_event first{};
  return epoll_wait(_order.get(), &first, 1, 0) == 1 && first.data.fd == _events.get();
}

void OfferedPort::forget_writes() const {
  char event[4096];
  while (read(_events.get(), event, sizeof event) > 0) continue;
  epoll_event both[2];
  epoll_wait(_order.get(), both, 2, 0);
}

}  // namespace sonic::port
