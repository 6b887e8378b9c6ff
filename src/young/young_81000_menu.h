#pragma once

#include <string>

#include "serial/serial.h"

namespace sonic {

/// Moving the R. M. Young 81000 between its two modes, operate mode, in which it streams data
/// lines, and the interactive menu, and around that menu. The mode is not stored: each operation
/// finds it out from what the instrument sends. Failures are std::runtime_error. An instrument that
/// does not answer as expected can keep some of these going for ever, as they say; the user's
/// interrupt ends these.

/// Leaves a menu upwards, and from the top one to operate mode.
extern const char* const YOUNG_EXIT_KEY;

/// Brings the instrument to its top menu, from operate mode or from a menu that answers a carriage
/// return with its exit line at once. Throws when it is silent for 15 s, and when it sends more
/// than 3000 characters without showing the top menu. From a sub-menu it is moved up until a reply
/// has no sub-menu's exit line, be it an empty reply.
void young_enter_interactive(Serial& port, bool verbose);

/// Leaves the menu. Returns when a data line is seen, and also after 250 characters that are
/// neither data nor menu text; throws when menu text comes. Waits without limit on a silent
/// instrument.
void young_exit_interactive(Serial& port, bool verbose);

/// A menu page, its paging prompts answered, with carriage returns as line feeds. The page ends
/// with its exit line, or when nothing more comes for `timeout_s`: then it is partial, or empty. It
/// is received in chunks of at most `max_chars` characters and may be longer; from an instrument
/// that streams data instead it never ends.
std::string young_interactive_rx(Serial& port, unsigned int timeout_s, unsigned int max_chars,
                                 bool verbose);

/// The same with what suits every page: a second of silence, chunks of 1000 characters.
std::string young_81000_receive_page(Serial& port, bool verbose);

/// Sends a key without a line ending and returns the page that answers it.
std::string young_81000_press(Serial& port, const std::string& key, bool verbose);

/// Presses "X", at least once, until the top menu is on screen; returns the last page. `text`, the
/// page on screen, is not examined. An "X" too many sends the instrument to operate mode, so where
/// the top menu came damaged or not at all this never ends.
std::string young_81000_goto_top_menu(Serial& port, std::string text, bool verbose);

/// Presses "S", then each of `keys`; returns the page shown after the last key, unchecked.
std::string young_81000_goto_sub_menu(Serial& port, std::string keys, bool verbose);

}  // namespace sonic
