#pragma once

#include <map>
#include <string>
#include <vector>

#include "records/regex.h"
#include "serial/serial.h"

namespace sonic {

/// Settings of the R. M. Young 81000, read and changed through its menu. Each operation expects the
/// instrument at its top menu and returns it there, unless it throws or, where the top menu does
/// not show, goes on for ever. Failures are std::runtime_error, and std::out_of_range ("map::at")
/// for a value that the instrument does not know, before any key is sent. A changed value is not
/// read back.

/// Baud rate to the menu key that selects it.
extern const std::map<unsigned int, std::string> young_81000_baud_rates;
/// The rates in the order in which detection tries them.
extern const std::vector<unsigned int> allowed_baud_rates;
/// Output rate in Hz to menu key.
extern const std::map<unsigned int, std::string> output_rates;
/// "include" or "omit" (records with a non-zero diagnostic word) to menu code.
extern const std::map<std::string, std::string> young_81000_error_handling;
/// "custom" or "nmea" to menu code.
extern const std::map<std::string, std::string> young_81000_output_format;

extern const regex re_baud_rate;
extern const regex re_output_rate;
extern const regex re_averaging;

/// The short configuration: model, version, serial number and settings as the instrument words
/// them. A page with a binary byte amid its text is left out; may be partial or empty.
std::string young_81000_get_info(Serial& port, bool verbose);
/// What follows "VERSION " in a short configuration, to its last line feed; "" without one.
std::string young_81000_get_firmware_version(const std::string& info);

/// Returns the instrument to its top menu also when its baud-rate page has no number, which throws.
/// STAYS.
unsigned int young_81000_get_baud_rate(Serial& port, bool verbose);
/// Changes the instrument's rate and the port's, unless the instrument shows that rate already.
void young_81000_set_baud_rate(Serial& port, unsigned int rate, bool verbose);

/// In Hz. STAYS.
unsigned int young_81000_get_output_rate(Serial& port, bool verbose);
void young_81000_set_output_rate(Serial& port, unsigned int hz, bool verbose);

/// Number of samples in an average; 0 is off. STAYS.
unsigned int young_81000_get_averaging(Serial& port, bool verbose);
void young_81000_set_averaging(Serial& port, unsigned int n, bool verbose);

/// The field string of the custom format; for another format, or where none shows, the menu code.
/// STAYS.
std::string young_81000_get_output_format(Serial& port, bool verbose);
/// Always the custom layout that makes the instrument send the records this program parses.
void young_81000_set_output_format(Serial& port, bool verbose);

/// `name` is "include" or "omit". Changes nothing where the menu shows no code.
void young_81000_set_error_handling(Serial& port, std::string name, bool verbose);

}  // namespace sonic
