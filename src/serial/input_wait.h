#pragma once

#include <ctime>

namespace sonic {

/// Waits for input on a descriptor, as select does: positive when there is some, 0 after `seconds`,
/// -1 with errno after a failure or a signal. select cannot watch a descriptor from FD_SETSIZE on:
/// that is a failure too, EMFILE, and so is -1, EBADF.
int wait_for_input(int fd, time_t seconds);

}  // namespace sonic
