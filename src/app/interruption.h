#pragma once

#include <atomic>

namespace sonic {

/// 0 until the user interrupts, then 1. The waiting loops test it, a dialogue when a wait brings no
/// data, and end their work with an exception when it is set. Only the slow write of keys does not.
extern std::atomic<unsigned char> terminator;

/// Throws std::runtime_error with this message when `terminator` is set.
void throw_if_terminated(const char* message);

/// Sets `terminator` and nothing else.
void sig_int_handler(int signal);

/// Throws std::runtime_error when the handler cannot be installed.
void install_sigint_handler();

}  // namespace sonic
