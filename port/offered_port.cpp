#include "port/offered_port.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "base/error.h"

namespace sonic::port {

namespace {

using std::chrono::milliseconds;

// The kernel reports changed settings while this flag is among them. A user that sets all of them
// clears it, and often makes the next change at once: the flag is set again when that is over.
constexpr tcflag_t REPORT_CHANGES = EXTPROC;
constexpr milliseconds SETTINGS_AT_REST(10);

// What was written is announced before it can be read, which takes the kernel some microseconds.
constexpr milliseconds ANNOUNCED_KEYS(20);

Descriptor watch_opening(const std::string& path) {
  Descriptor opened(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (inotify_add_watch(opened.get(), path.c_str(), IN_OPEN) == -1) {
    throw_error(errno, {path, ": "});
  }
  return opened;
}

}  // namespace

OfferedPort::OfferedPort(const std::string& link, speed_t speed)
    : _terminal("", 0),
      _opened(watch_opening(path())),
      _order(_terminal.fd(), path()),
      _speed(speed) {
  const int packets = 1;
  if (ioctl(_terminal.fd(), TIOCPKT, &packets) == -1) throw_error(errno, {path(), ": "});
  termios settings = this->settings();
  cfsetspeed(&settings, speed);
  set(settings);
  ask_for_reports();
  requests();  // of these changes
  if (!link.empty()) _link.emplace(link, path());
}

pollfd OfferedPort::awaited(bool for_requests, bool for_room) const {
  if (!_in_use)
    return {_opened.get(), POLLIN, 0};  // the terminal would report its hang-up all the time
  const int what = (for_requests ? POLLIN : 0) | (for_room ? POLLOUT : 0);
  return {_terminal.fd(), static_cast<short>(what), 0};
}

int OfferedPort::patience() const {
  return _in_use && !_reports ? static_cast<int>(SETTINGS_AT_REST.count()) : -1;
}

bool OfferedPort::notice(const pollfd& awaited) {
  if (awaited.revents == 0) return false;
  if (!_in_use) {
    char event[4096];
    while (read(_opened.get(), event, sizeof event) > 0) continue;
    const bool opened_by_us = std::exchange(_opened_by_us, false);
    _in_use = _terminal.in_use();
    if (_in_use || opened_by_us) return _in_use;  // else the user has gone already
  } else if ((awaited.revents & POLLHUP) == 0) {
    return false;
  }
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

void OfferedPort::take_packet(std::vector<Request>& requests) {
  _order.look();
  const std::string packet = _terminal.read();
  if (!_reports) take_speed(requests);
  if (packet.empty()) return;
  const int report = static_cast<unsigned char>(packet[0]);
  if (report == TIOCPKT_DATA) {
    _order.keys_read();
    requests.push_back({Request::What::KEYS, packet.substr(1), _speed});
    return;
  }
  const bool keys_first = _order.report_read();
  if ((report & TIOCPKT_FLUSHREAD) != 0) requests.push_back({Request::What::FLUSH, "", _speed});
  if ((report & TIOCPKT_IOCTL) == 0) return;
  if (keys_first) take_keys(requests);
  take_speed(requests);
}

// Those that were written before a change of speed.
void OfferedPort::take_keys(std::vector<Request>& requests) {
  _terminal.wait(true, false, ANNOUNCED_KEYS);
  while (_order.has_keys()) take_packet(requests);
}

void OfferedPort::take_speed(std::vector<Request>& requests) {
  const termios settings = this->settings();
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
  termios settings = this->settings();
  _reports = true;
  if ((settings.c_lflag & REPORT_CHANGES) != 0) return;
  settings.c_lflag |= REPORT_CHANGES;
  set(settings);
}

// The pseudo-terminal would keep it for the next user, and with it that the last one had it alone.
void OfferedPort::forget_unread() {
  const Descriptor user(open(path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (user.is_open()) {
    _opened_by_us = true;
    tcflush(user.get(), TCIFLUSH);
    ioctl(user.get(), TIOCNXCL);
  } else if (errno == EBUSY) {
    _is_closed_to_all = true;
  } else {
    throw_error(errno, {path(), ": "});
  }
}

termios OfferedPort::settings() const {
  termios settings;
  if (tcgetattr(_terminal.fd(), &settings) == -1) throw_error(errno, {path(), ": "});
  return settings;
}

void OfferedPort::set(const termios& settings) const {
  if (tcsetattr(_terminal.fd(), TCSANOW, &settings) == -1) throw_error(errno, {path(), ": "});
}

}  // namespace sonic::port
