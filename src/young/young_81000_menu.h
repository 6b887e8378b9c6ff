#pragma once

#include <string>

#include "serial/serial.h"

namespace sonic {

// Moving the R. M. Young 81000 between its two modes, operate mode, in which it streams data lines,
// and the interactive menu, and around that menu. The mode is not stored: each operation finds it
// out from what the instrument sends. Failures are std::runtime_error. Source of the menus: R. M.
// Young Company, Model 81000 Ultrasonic Anemometer, instruction manual.

/// Text of a paging prompt within a long menu page.
extern const char* const YOUNG_PAGING_PROMPT;

/// Brings the instrument to its top menu, whatever state it is in. A silent one fails after some 15
/// s.
void young_enter_interactive(Serial& port, bool verbose);

/// Leaves the menu; returns when data lines are seen. Waits without limit on a silent instrument.
void young_exit_interactive(Serial& port, bool verbose);

/// One complete menu page, its paging prompt answered, with carriage returns as line feeds.
std::string young_interactive_rx(Serial& port, unsigned int timeout_s, unsigned int max_chars,
                                 bool verbose);

/// Presses "X", at least once, until the top menu is on screen; returns the last page. `text`, the
/// page on screen, is not examined.
std::string young_81000_goto_top_menu(Serial& port, std::string text, bool verbose);

/// Presses "S", then each of `keys`; returns the page shown after the last key, unchecked.
std::string young_81000_goto_sub_menu(Serial& port, std::string keys, bool verbose);

}  // namespace sonic
