#include "young/dialogue.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "app/interruption.h"
#include "base/error.h"
#include "records/dump.h"
#include "serial/input_wait.h"

namespace sonic {

namespace {

constexpr timespec SLOW_WRITE_PAUSE = {0, 250'000'000};
constexpr unsigned int ECHO_SECONDS = 1;
constexpr unsigned int RX_SECONDS = 1;
constexpr unsigned int MAX_RX_CHARS = 80;
constexpr unsigned int RX_BLOCK = 80;
constexpr unsigned int DELIMITER_BLOCK = 500;

void trace_dump(const char* function, const std::string& text) {
  std::cout << function << ' ';
  dump(text.data(), static_cast<int>(text.size()));
  std::cout << std::endl;
}

// What of `buffer` may still be the start of the delimiter: the part from the first occurrence of
// its first character on, if all that follows agrees; else nothing. Only that one place is looked
// at.
std::string possible_start(const std::string& buffer, const std::string& delimiter, bool verbose) {
  const size_t start = buffer.find(delimiter[0]);
  if (start == std::string::npos) return "";
  if (verbose) {
    std::cout << "interactive_read_to_delimiter: check for more delimiter chars" << std::endl;
  }
  for (size_t i = 1; i < delimiter.size() && start + i < buffer.size(); ++i) {
    if (verbose) {
      std::cout << "interactive_read_to_delimiter: check '"
                << static_cast<int>(static_cast<unsigned char>(delimiter[0])) << "'" << std::endl;
    }
    if (buffer[start + i] != delimiter[i]) return "";
  }
  return buffer.substr(start);
}

}  // namespace

int interactive_wait_for_input(Serial& port, unsigned int seconds) {
  const int ready = wait_for_input(port.fd(), static_cast<time_t>(seconds));
  if (ready > 0) return port.fd();
  if (ready == 0) return 0;
  if (errno == EINTR) return -1;
  throw_error(errno, {"select error: "});
}

void interactive_slow_write(Serial& port, const std::string& text) {
  for (size_t i = 0; i < text.size();) {
    i += static_cast<size_t>(port.write(&text[i], 1));
    nanosleep(&SLOW_WRITE_PAUSE, nullptr);
  }
}

std::string interactive_rx(Serial& port, unsigned int seconds, unsigned int max_chars,
                           bool verbose) {
  std::string received;
  std::array<char, RX_BLOCK> block;
  do {
    int n = 0;
    if (interactive_wait_for_input(port, seconds) != 0) {
      const auto room = max_chars - static_cast<unsigned int>(received.size());
      n = port.read(block.data(), std::min(RX_BLOCK, room));
    }
    if (n == 0) {
      throw_if_terminated("interactive_rx: terminated by user");
      break;
    }
    received.append(block.data(), static_cast<size_t>(n));
  } while (received.size() < max_chars);
  if (verbose) trace_dump("interactive_rx", received);
  return received;
}

std::string interactive_rx(Serial& port, bool verbose) {
  return interactive_rx(port, RX_SECONDS, MAX_RX_CHARS, verbose);
}

void interactive_read_to_delimiter(Serial& port, const std::string& delimiter,
                                   unsigned int max_chars, unsigned int seconds,
                                   unsigned int max_timeouts, bool verbose) {
  std::string buffer;
  std::array<char, DELIMITER_BLOCK> block;
  unsigned int total = 0;
  unsigned int timeouts = 0;
  for (;;) {
    const int ready = interactive_wait_for_input(port, seconds);
    throw_if_terminated("interactive_read_to_delimiter");
    if (ready == 0) {
      if (++timeouts == max_timeouts) {
        throw std::runtime_error("interactive_read_to_delimiter: TIMEOUT!!!");
      }
      continue;
    }
    const int n = port.read(block.data(), DELIMITER_BLOCK);
    if (n == 0) continue;
    total += static_cast<unsigned int>(n);
    buffer.append(block.data(), strnlen(block.data(), static_cast<size_t>(n)));
    timeouts = 0;

    if (buffer.find(delimiter) != std::string::npos) {
      if (verbose) std::cout << "\nMATCH!" << std::endl;
      return;
    }
    if (total > max_chars) throw std::runtime_error("interactive_read_to_delimiter: NO MATCH");
    buffer = possible_start(buffer, delimiter, verbose);
  }
}

void interactive_tx_common(Serial& port, std::string command, bool verbose, eoltype_t eol) {
  if (verbose) std::cout << "interactive_tx_common: out='" << command << "'" << std::endl;
  if (eol == EOL_CR) command += "\r";
  if (eol == EOL_CR_LF) command += "\r\n";
  if (verbose) trace_dump("interactive_tx_common", command);

  port.flush_input();
  for (const char c : command) {
    if (port.write(&c, 1) == 0) throw std::runtime_error("interactive_tx_common: write error");
    if (interactive_wait_for_input(port, ECHO_SECONDS) == 0) {
      throw_if_terminated("interactive_tx_common: terminated by user");
      continue;  // a missing echo is tolerated
    }
    char echo = 0;
    if (port.read(&echo, 1) == 0) throw std::runtime_error("interactive_tx_common: read error");
  }
}

void interactive_tx_ncr(Serial& port, std::string command, bool verbose) {
  interactive_tx_common(port, std::move(command), verbose, EOL_NONE);
}

void interactive_tx(Serial& port, std::string command, bool verbose) {
  interactive_tx_common(port, std::move(command), verbose, EOL_CR);
}

void interactive_tx_wm(Serial& port, std::string command, bool verbose) {
  interactive_tx_common(port, std::move(command), verbose, EOL_CR_LF);
}

std::string interactive_transfer(Serial& port, std::string command, unsigned int seconds,
                                 unsigned int max_chars, bool verbose) {
  interactive_tx(port, std::move(command), verbose);
  return interactive_rx(port, seconds, max_chars, verbose);
}

std::string interactive_transfer(Serial& port, std::string command, bool verbose) {
  return interactive_transfer(port, std::move(command), RX_SECONDS, MAX_RX_CHARS, verbose);
}

std::string interactive_transfer_wm(Serial& port, std::string command, bool verbose) {
  interactive_tx_wm(port, std::move(command), verbose);
  return interactive_rx(port, RX_SECONDS, MAX_RX_CHARS, verbose);
}

}  // namespace sonic
