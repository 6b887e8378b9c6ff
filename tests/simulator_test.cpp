// The simulated instrument without its line: keys, settings, records, faults, options.

#include <gtest/gtest.h>

#include <sstream>

#include "simulator/options.h"
#include "simulator/stream.h"
#include "tests/cases.h"

namespace sonic::simulator {

namespace {

// OPTIONS | REST
Options options_of(const std::string& text, std::string& rest) {
  const size_t end = text.find(" | ");
  if (end != std::string::npos) rest = text.substr(end + 3);
  std::istringstream all(text.substr(0, end));
  std::vector<std::string> words{"simulator"};
  for (std::string word; all >> word;) words.push_back(word);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  return parse_options(static_cast<int>(words.size()), arguments.data()).value();
}

// OPTIONS | KEYS: what it sends back, and what it is set to then.
void keys(Serial&, const std::string& text, bool verbose) {
  std::string keys;
  const Options options = options_of(text, keys);
  Instrument instrument(options.settings, options.state, options.paging);
  std::string sent;
  for (const char key : keys) sent += instrument.key(key);
  if (verbose) print(sent);
  std::cout << instrument.describe() << std::endl;
}

// OPTIONS | COUNT: so many records of a run, and what follows each.
void records(Serial&, const std::string& text, bool) {
  const char* const events[] = {"", "pause", "power cycle", "hang-up", "silence"};
  std::string count;
  const Options options = options_of("--start 1700001000 --fields 5BEC " + text, count);
  Instrument instrument(options.settings, options.state, options.paging);
  Stream stream(options, instrument);
  stream.begin(true);
  for (int i = std::stoi(count); i > 0; --i) {
    const Delivery delivery = stream.next();
    std::cout << delivery.bytes << ' ' << events[static_cast<size_t>(delivery.event)];
    if (delivery.nanoseconds != 0) std::cout << " of " << delivery.nanoseconds << " ns";
    if (delivery.event == Event::PAUSE) stream.skip(delivery.nanoseconds);
    std::cout << std::endl;
  }
}

// How long it is between two samples of a run, and when the first is due.
void pace(Serial&, const std::string& text, bool) {
  std::string rest;
  const Options options = options_of(text, rest);
  Instrument instrument(options.settings, options.state, options.paging);
  Stream stream(options, instrument);
  stream.begin(true);
  std::cout << stream.interval_ns() << " ns after " << options.settle_ns << " ns" << std::endl;
}

const Calls CALLS = {{"keys", keys}, {"records", records}, {"pace", pace}};

const bool CASES = add_cases("Simulator", "simulator", CALLS);

}  // namespace

}  // namespace sonic::simulator
