#include "young/baud_detection.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <iostream>
#include <stdexcept>

#include "app/interruption.h"
#include "base/error.h"
#include "serial/input_wait.h"
#include "young/young_81000_menu.h"

namespace sonic {

const re autobaud_match_strings({
    "EXIT TO",
    "((|-)[0-9]+\\.[0-9]+[ ]+){2}(|-)[0-9]+\\.[0-9]+",
});

namespace {

constexpr timespec SETTLE = {0, 500'000'000};
constexpr time_t QUIET_SECONDS = 3;
constexpr unsigned int MAX_REPLY_BYTES = 500;

constexpr const char* ESCAPES = "\x1b\x1b\x1b";
constexpr const char* NEWLINE = "\n";
constexpr unsigned int NEWLINE_SECONDS = 1;
constexpr int EXIT_KEY_ROUNDS = 2;

// False when the line stayed quiet. Unlike the dialogue's wait, any failure ends detection.
bool has_input(int fd) {
  const int ready = wait_for_input(fd, QUIET_SECONDS);
  const int error = errno;
  throw_if_terminated("autobaud: terminated by user");
  if (ready == -1) throw_error(error, {"autobaud select error: "});
  return ready > 0;
}

// Whether the instrument is understood at the rate that the port has.
bool talks(Notifier& notifier, Serial& port, extractor_t extractor, const re& matches,
           bool verbose) {
  const auto heard = [&](const char* trace) {
    std::cout << trace << std::endl;
    return young_81000_auto_baud_check(young_81000_auto_baud_read(notifier, port, verbose),
                                       extractor, matches, verbose);
  };
  port.flush_input();
  if (heard("Read !!!!!...")) return true;

  port.flush_input();
  young_81000_auto_baud_write(port, ESCAPES, verbose);
  if (heard("Escape ...")) return true;

  young_81000_auto_baud_write(port, NEWLINE, verbose);
  sleep(NEWLINE_SECONDS);
  std::cout << "NL ..." << std::endl;
  const std::string reply = young_81000_auto_baud_read(notifier, port, verbose);
  std::cout << "[" << reply << "]" << std::endl;

  for (int round = 0; round < EXIT_KEY_ROUNDS; ++round) {
    std::cout << "Interactive??" << std::endl;
    young_81000_auto_baud_write(port, YOUNG_EXIT_KEY, verbose);
    if (heard("Reread ...")) return true;
  }
  return false;
}

}  // namespace

std::string young_81000_auto_baud_read(Notifier& notifier, Serial& port, bool verbose) {
  nanosleep(&SETTLE, nullptr);
  std::string reply;
  std::array<char, MAX_REPLY_BYTES> block;
  while (reply.size() < MAX_REPLY_BYTES && has_input(port.fd())) {
    const int n =
        port.read(block.data(), MAX_REPLY_BYTES - static_cast<unsigned int>(reply.size()));
    if (n == 0) throw std::runtime_error("autobaud read error: unexpected zero");
    if (reply.empty()) notifier.notify("Connecting (got data)");
    reply.append(block.data(), static_cast<size_t>(n));
    if (verbose) {
      std::cout << "young_81000_auto_baud_read: read" << reply.size() << " of " << MAX_REPLY_BYTES
                << " so far" << std::endl;
    }
  }
  return reply;
}

bool young_81000_auto_baud_check(const std::string& bytes, extractor_t extractor, const re& matches,
                                 bool verbose) {
  if (bytes.empty() || extractor == nullptr) return false;
  const std::string text = extractor(reinterpret_cast<const unsigned char*>(bytes.data()),
                                     static_cast<unsigned int>(bytes.size()), verbose);
  const bool recognised = !text.empty() && matches.is_match(text);
  if (verbose) {
    std::cout << "young_81000_auto_baud_check: '" << text << "' recognised=" << recognised
              << std::endl;
  }
  return recognised;
}

void young_81000_auto_baud_write(Serial& port, std::string text, bool verbose) {
  const int n = port.write(text.data(), static_cast<unsigned int>(text.size()));
  if (verbose) {
    std::cout << "young_81000_auto_baud_write: s='" << text << "': write " << text.size()
              << " returns " << n << std::endl;
  }
}

unsigned int young_81000_auto_baud(Notifier& notifier, const std::vector<unsigned int>& baud_rates,
                                   Serial& port, extractor_t extractor, const re& matches,
                                   bool verbose) {
  notifier.notify("Connecting (no data)");
  for (const unsigned int rate : baud_rates) {
    std::cout << "Trying " << rate << std::endl;
    try {
      port.set_baud(rate);
    } catch (const std::exception& e) {
      std::cout << e.what() << std::endl;
      continue;
    }
    notifier.notify("Info trying " + std::to_string(rate));
    notifier.notified(false);
    if (talks(notifier, port, extractor, matches, verbose)) {
      notifier.notify("Info connected at " + std::to_string(rate) + " baud");
      return rate;
    }
  }
  throw std::runtime_error("autobaud error: no match");
}

}  // namespace sonic
