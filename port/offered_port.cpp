#include "port/offered_port.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "base/error.h"
#include "serial/speeds.h"

namespace sonic::port {

namespace {

using std::chrono::milliseconds;

// The kernel tells of changed settings while this flag is among them. A user that sets all of them
// clears it, and often makes the next change at once: the flag is set again when that is over.
constexpr tcflag_t TELL_CHANGES = EXTPROC;
constexpr milliseconds SETTINGS_AT_REST(10);

// What was written is announced before it can be read, which takes the kernel some microseconds.
constexpr milliseconds ANNOUNCED_KEYS(20);
constexpr int MOST_PACKETS = 16;  // more than it keeps

void watch(int epoll, int fd, unsigned int what) {
  epoll_event event{};
  event.events = what | EPOLLET;
  event.data.fd = fd;
  if (epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event) == -1) fail("epoll");
}

}  // namespace

OfferedPort::OfferedPort(const std::string& link, unsigned int baud)
    : terminal_(link, baud),
      events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
      order_(epoll_create1(EPOLL_CLOEXEC)),
      speed_(speed_code(baud).value()) {
  try {
    const int packets = 1;
    if (ioctl(terminal_.fd(), TIOCPKT, &packets) == -1) fail(path());
    if (inotify_add_watch(events_, path().c_str(), IN_OPEN | IN_MODIFY) == -1) fail(path());
    watch(order_, events_, EPOLLIN);
    watch(order_, terminal_.fd(), EPOLLPRI);
    ask_for_reports();
  } catch (...) {
    close_all();
    throw;
  }
}

OfferedPort::~OfferedPort() { close_all(); }

void OfferedPort::close_all() const {
  close(order_);
  close(events_);
}

pollfd OfferedPort::awaited(bool for_requests, bool for_room) const {
  if (!in_use_) return {events_, POLLIN, 0};  // the terminal would report its hang-up all the time
  const int what = (for_requests ? POLLIN : 0) | (for_room ? POLLOUT : 0);
  return {terminal_.fd(), static_cast<short>(what), 0};
}

int OfferedPort::patience() const {
  return in_use_ && !reports_ ? static_cast<int>(SETTINGS_AT_REST.count()) : -1;
}

bool OfferedPort::notice(const pollfd& awaited) {
  if (awaited.revents == 0) return false;
  if (!in_use_) {
    forget_writes();
    in_use_ = terminal_.in_use();
    return in_use_;
  }
  if ((awaited.revents & POLLHUP) == 0) return false;
  in_use_ = false;
  forget_unread();
  ask_for_reports();
  return true;
}

std::vector<Request> OfferedPort::requests() {
  std::vector<Request> requests;
  take_packet(requests);
  if (!reports_ && Clock::now() - last_change_ > SETTINGS_AT_REST) ask_for_reports();
  return requests;
}

bool OfferedPort::has_more() const {
  return terminal_.wait(true, false, milliseconds::zero()).readable;
}

/// A report comes ahead of all that can be read, and does not say what was written before it. That
/// must be asked first: the report is forgotten when it is read.
void OfferedPort::take_packet(std::vector<Request>& requests) {
  const bool written_first = was_written_first();
  const std::string packet = terminal_.read();
  if (!reports_) take_speed(requests);
  if (packet.empty()) return;
  const int report = static_cast<unsigned char>(packet[0]);
  if (report == TIOCPKT_DATA) {
    forget_writes();
    requests.push_back({Request::What::KEYS, packet.substr(1), speed_});
    return;
  }
  if ((report & TIOCPKT_FLUSHREAD) != 0) requests.push_back({Request::What::FLUSH, "", speed_});
  if ((report & TIOCPKT_IOCTL) == 0) return;
  if (written_first) {
    terminal_.wait(true, false, ANNOUNCED_KEYS);
    for (int i = 0; i < MOST_PACKETS; ++i) take_packet(requests);
  }
  take_speed(requests);
}

void OfferedPort::take_speed(std::vector<Request>& requests) {
  termios settings;
  if (tcgetattr(terminal_.fd(), &settings) == -1) fail(path());
  const bool reports = (settings.c_lflag & TELL_CHANGES) != 0;
  const speed_t speed = cfgetospeed(&settings);
  if (speed != speed_ || reports != reports_) last_change_ = Clock::now();
  reports_ = reports;
  if (speed == speed_ || speed == B0) return;  // none at all is set on the way to another
  speed_ = speed;
  requests.push_back({Request::What::SPEED, "", speed});
}

/// A user that changes its settings in this very moment would lose that change: the kernel can only
/// set all of them at once.
void OfferedPort::ask_for_reports() {
  termios settings;
  if (tcgetattr(terminal_.fd(), &settings) == -1) fail(path());
  settings.c_lflag |= TELL_CHANGES;
  if (tcsetattr(terminal_.fd(), TCSANOW, &settings) == -1) fail(path());
  reports_ = true;
}

/// The pseudo-terminal would keep it for the next user.
void OfferedPort::forget_unread() const {
  const int fd = open(path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd == -1) fail(path());
  tcflush(fd, TCIFLUSH);
  close(fd);
}

/// Since the last call of forget_writes.
bool OfferedPort::was_written_first() const {
  epoll_event first{};
  return epoll_wait(order_, &first, 1, 0) == 1 && first.data.fd == events_;
}

void OfferedPort::forget_writes() const {
  char event[4096];
  while (read(events_, event, sizeof event) > 0) continue;
  epoll_event both[2];
  epoll_wait(order_, both, 2, 0);
}

}  // namespace sonic::port
