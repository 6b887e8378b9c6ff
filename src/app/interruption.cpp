#include "app/interruption.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <string>

namespace sonic {

std::atomic<unsigned char> terminator{0};

static_assert(std::atomic<unsigned char>::is_always_lock_free, "set from a signal handler");

void throw_if_terminated(const char* message) {
  if (terminator) throw std::runtime_error(message);
}

void sig_int_handler(int /*signal*/) { terminator = 1; }

void install_sigint_handler() {
  if (signal(SIGINT, sig_int_handler) == SIG_ERR) {
    const int error = errno;  // making a text may change it
    throw std::runtime_error("Error " + std::to_string(error) + " install 'SIGINT' handler");
  }
}

}  // namespace sonic
