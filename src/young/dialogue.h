#pragma once

#include <string>

#include "serial/serial.h"

namespace sonic {

/// A character-by-character dialogue with an instrument's interactive menu. Failures are
/// std::runtime_error, the user's interrupt among them; errors of the port pass through. Nothing is
/// retried here.

/// Line ending that a send appends: none, "\r" or "\r\n".
enum eoltype_t { EOL_NONE = 0, EOL_CR = 1, EOL_CR_LF = 2 };

/// Waits for input: the port's descriptor when there is some, 0 after the time-out, -1 when a
/// signal arrived. Most callers treat the last as ready, and the read that follows yields nothing;
/// leaving the menu throws. A line that was hung up is ready all the time.
int interactive_wait_for_input(Serial& port, unsigned int seconds);

/// Writes one byte every 250 ms and reads no echo. A byte that the port does not take is tried
/// again without limit; the user's interrupt does not end that.
void interactive_slow_write(Serial& port, const std::string& text);

/// Receives until `max_chars` characters have come or nothing came for `seconds`; earlier on an
/// empty read, of which a signal or a line that was hung up is the cause.
std::string interactive_rx(Serial& port, unsigned int seconds, unsigned int max_chars,
                           bool verbose);
/// The same with one second and 80 characters. STAYS.
std::string interactive_rx(Serial& port, bool verbose);

/// Reads, and drops what it reads, until the delimiter has been seen. One that arrives in two reads
/// is missed when its first character also stands before it in the first of them. Throws after
/// `max_timeouts` waits in a row without data, and after more than `max_chars` characters. An empty
/// read is neither: on a line that was hung up only the user ends this.
void interactive_read_to_delimiter(Serial& port, const std::string& delimiter,
                                   unsigned int max_chars, unsigned int seconds,
                                   unsigned int max_timeouts, bool verbose);

/// Discards unread input, then sends the command with its line ending. The instrument cannot take
/// keys faster than it echoes them: a byte goes out when the echo of the one before has been read,
/// or has stayed away for a second. Throws when the port does not take a byte, and when it has
/// nothing to read where the echo should be: a signal or a line that was hung up does that.
void interactive_tx_common(Serial& port, std::string command, bool verbose, eoltype_t eol);
/// With no line ending and with "\r".
void interactive_tx_ncr(Serial& port, std::string command, bool verbose);
void interactive_tx(Serial& port, std::string command, bool verbose);
/// With "\r\n". STAYS.
void interactive_tx_wm(Serial& port, std::string command, bool verbose);

/// `interactive_tx`, then `interactive_rx`: the answer. STAYS.
std::string interactive_transfer(Serial& port, std::string command, unsigned int seconds,
                                 unsigned int max_chars, bool verbose);
/// The same with one second and 80 characters. STAYS.
std::string interactive_transfer(Serial& port, std::string command, bool verbose);
/// The same with `interactive_tx_wm`. STAYS.
std::string interactive_transfer_wm(Serial& port, std::string command, bool verbose);

}  // namespace sonic
