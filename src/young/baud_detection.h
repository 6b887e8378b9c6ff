#pragma once

#include <string>
#include <vector>

#include "mqtt/notifier.h"
#include "records/regex.h"
#include "serial/serial.h"

namespace sonic {

/// Takes the printable text out of a raw reply.
using extractor_t = std::string (*)(const unsigned char* bytes, unsigned int length, bool verbose);

/// What shows that the instrument was understood: its menu, or three numbers of its data output.
extern const re autobaud_match_strings;

/// Finds the rate at which the instrument talks, out of `baud_rates` in their order: listens, and
/// provokes a silent one. Reports its progress to the notifier and leaves the port at the rate
/// found. A silent line costs up to 18.5 s a rate. A rate that the port refuses is printed and
/// skipped. Throws std::runtime_error when no rate is recognised, when the port cannot be waited
/// on, read or written and when the user interrupts.
unsigned int young_81000_auto_baud(Notifier& notifier, const std::vector<unsigned int>& baud_rates,
                                   Serial& port, extractor_t extractor, const re& matches,
                                   bool verbose);

/// One listening period: what comes until the line has been quiet for 3 s, at most 500 bytes.
/// Throws as the detection does.
std::string young_81000_auto_baud_read(Notifier& notifier, Serial& port, bool verbose);

/// Whether the printable text of a reply matches any of `matches`.
bool young_81000_auto_baud_check(const std::string& bytes, extractor_t extractor, const re& matches,
                                 bool verbose);

/// One write; what the port does not take of it is lost. Throws what the port throws.
void young_81000_auto_baud_write(Serial& port, std::string text, bool verbose);

}  // namespace sonic
