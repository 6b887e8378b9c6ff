#pragma once

#include <string>

#include "serial/serial.h"

namespace sonic {

// Moving the R. M. Young 81000 between its two modes, operate mode, in which it streams data lines,
// and the interactive menu, and around that menu. The mode is not stored: each operation finds it
// out from what the instrument sends. Failures are std::runtime_error.

/// Leaves a menu upwards, and from the top one to operate mode.
extern const char* const YOUNG_EXIT_KEY;

/// Brings the instrument to its top menu, whatever state it is in. A silent one fails after 15 s.
void young_enter_interactive(Serial& port, bool verbose);

/// Leaves the menu; returns when data lines are seen. Waits without limit on a silent instrument.
void young_exit_interactive(Serial& port, bool verbose);

/// One complete menu page, its paging prompt answered, with carriage returns as line feeds.
std::string young_interactive_rx(Serial& port, unsigned int timeout_s, unsigned int max_chars,
                                 bool verbose);

/// The same with the limits that suit every page: a second of silence, 1000 characters.
std::string young_81000_receive_page(Serial& port, bool verbose);

/// Sends a key without a line ending and returns the page that answers it.
std::string young_81000_press(Serial& port, const std::string& key, bool verbose);

/// Presses "X", at least once, until the top menu is on screen; returns the last page. `text`, the
/// page on screen, is not examined.
std::string young_81000_goto_top_menu(Serial& port, std::string text, bool verbose);

/// Presses "S", then each of `keys`; returns the page shown after the last key, unchecked.
std::string young_81000_goto_sub_menu(Serial& port, std::string keys, bool verbose);

}  // namespace sonic
