#include "simulator/options.h"

#include <getopt.h>

#include <cstdlib>
#include <iomanip>
#include <limits>
#include <map>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace sonic::simulator {

namespace {

constexpr uint64_t ANY_COUNT = std::numeric_limits<uint32_t>::max();
constexpr uint64_t MOST_AVERAGED = 9999;
constexpr uint64_t MOST_BYTES = 1000000;
constexpr uint64_t MOST_SECONDS = 10000000000;  // so that nanoseconds stay within 64 bits
constexpr uint64_t DEFAULT_POWER_OFF = 3 * NANOSECONDS;
constexpr double SLOWEST = 0.001, FASTEST = 1e6;  // times real time
constexpr size_t NANOSECOND_DIGITS = 9;
constexpr size_t LONGEST_FIELDS = 20;
constexpr int HELP_COLUMN = 30;

[[noreturn]] void reject(const std::string& text, const std::string& wanted) {
  throw std::invalid_argument("'" + text + "' is not " + wanted);
}

bool all_digits(const std::string& text) {
  return text.find_first_not_of("0123456789") == std::string::npos;
}

uint64_t number(const std::string& text, uint64_t least, uint64_t most) {
  const std::string wanted =
      "a whole number from " + std::to_string(least) + " to " + std::to_string(most);
  if (text.empty() || text.size() > std::to_string(most).size() || !all_digits(text)) {
    reject(text, wanted);
  }
  const uint64_t value = std::stoull(text);
  if (value < least || value > most) reject(text, wanted);
  return value;
}

/// "1700000000.25" without the rounding of a floating-point number.
uint64_t nanoseconds(const std::string& text) {
  const size_t point = text.find('.');
  const uint64_t seconds = number(text.substr(0, point), 0, MOST_SECONDS);
  std::string fraction = point == std::string::npos ? "0" : text.substr(point + 1);
  if (fraction.empty() || fraction.size() > NANOSECOND_DIGITS || !all_digits(fraction)) {
    reject(text, "a number of seconds with at most nine decimals");
  }
  fraction.resize(NANOSECOND_DIGITS, '0');
  return seconds * NANOSECONDS + std::stoull(fraction);
}

uint64_t period(const std::string& text) { return number(text, 1, ANY_COUNT); }

uint64_t byte_count(const std::string& text) { return number(text, 1, MOST_BYTES); }

double speed(const std::string& text) {
  if (text == "max") return 0;
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  const bool in_range = value == 0 || (value >= SLOWEST && value <= FASTEST);
  if (text.empty() || *end != '\0' || !in_range) {
    reject(text, "0, a number from 0.001 to 1000000, or max");
  }
  return value;
}

/// "record:amount".
Incident incident(const std::string& text, uint64_t (*amount)(const std::string&)) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) reject(text, "of the form K:AMOUNT");
  return {period(text.substr(0, colon)), amount(text.substr(colon + 1))};
}

Incident power_cycle(const std::string& text) {
  if (text.find(':') == std::string::npos) return {period(text), DEFAULT_POWER_OFF};
  return incident(text, nanoseconds);
}

void set_noise(const std::string& text, Faults& faults) {
  const size_t colon = text.find(':');
  faults.noise_period = period(text.substr(0, colon));
  if (colon != std::string::npos) faults.noise_bytes = byte_count(text.substr(colon + 1));
}

/// The value that goes with the name.
template <typename Value>
Value named(const std::string& text, const std::map<std::string, Value>& values) {
  const auto found = values.find(text);
  if (found != values.end()) return found->second;
  std::string wanted = "one of";
  for (const auto& value : values) wanted += " " + value.first;
  reject(text, wanted);
}

const std::map<std::string, State> STATES = {{"operate", State::OPERATE},
                                             {"top", State::TOP},
                                             {"sub", State::SUB},
                                             {"silent", State::SILENT}};
const std::map<std::string, ErrorHandling> ERROR_HANDLINGS = {{"include", ErrorHandling::INCLUDE},
                                                              {"omit", ErrorHandling::OMIT}};
const std::map<std::string, OutputFormat> FORMATS = {{"custom", OutputFormat::CUSTOM},
                                                     {"nmea", OutputFormat::NMEA}};

unsigned int offered(const std::string& text, bool (*is_offered)(unsigned int)) {
  const auto value = static_cast<unsigned int>(number(text, 0, ANY_COUNT));
  if (!is_offered(value)) reject(text, "in the instrument's menu");
  return value;
}

std::string fields(const std::string& text) {
  if (text.empty() || text.size() > LONGEST_FIELDS ||
      text.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ") != std::string::npos) {
    reject(text, "one to twenty capital letters and digits");
  }
  return text;
}

struct Option {
  const char* name;
  const char* argument;  // nullptr: takes none
  const char* help;      // its lines are indented alike
  void (*set)(Options&, const std::string&);
};

using Text = std::string;

const Option OPTIONS[] = {
    {"link", "PATH", "link the port to PATH, such as /dev/ttyS1",
     [](Options& o, const Text& t) { o.link = t; }},
    {"state", "STATE", "operate (default), top or sub (in a menu), silent (answers nothing)",
     [](Options& o, const Text& t) { o.state = named(t, STATES); }},
    {"baud", "BAUD", "4800, 9600, 19200 or 38400 (default)",
     [](Options& o, const Text& t) { o.settings.baud = offered(t, is_baud_rate); }},
    {"rate", "HZ", "output rate: 4, 5, 8, 10 (default), 16, 20 or 32 Hz",
     [](Options& o, const Text& t) { o.settings.rate = offered(t, is_output_rate); }},
    {"averaging", "N", "samples to a record (default 0: off)",
     [](Options& o, const Text& t) {
       o.settings.averaging = static_cast<unsigned int>(number(t, 0, MOST_AVERAGED));
     }},
    {"error-handling", "HOW", "include (default) or omit samples with errors",
     [](Options& o, const Text& t) { o.settings.error_handling = named(t, ERROR_HANDLINGS); }},
    {"format", "FORMAT", "custom (default) or nmea",
     [](Options& o, const Text& t) { o.settings.format = named(t, FORMATS); }},
    {"fields", "TEXT",
     "fields of the custom format (default 5ABCDE): 5 u v w, A speed of sound,\n"
     "B temperature, C check, D voltage inputs, E diagnostic word",
     [](Options& o, const Text& t) { o.settings.fields = fields(t); }},
    {"paging", nullptr, "break the pages of the single settings in two",
     [](Options& o, const Text&) { o.paging = true; }},
    {"errors", "N", "every N-th sample has a diagnostic word that is not zero",
     [](Options& o, const Text& t) { o.error_period = period(t); }},
    {"seed", "N", "of wind and noise (default 1); the same seed gives the same run",
     [](Options& o, const Text& t) { o.seed = static_cast<uint32_t>(number(t, 0, ANY_COUNT)); }},

    {"raw", nullptr, "the instrument's own line: records without stamps",
     [](Options& o, const Text&) { o.raw = true; }},
    {"no-setup", nullptr, "a run also begins when the port is opened",
     [](Options& o, const Text&) { o.no_setup = true; }},
    {"settle", "S", "seconds from the line that ends the set-up to the run (default 0.5)",
     [](Options& o, const Text& t) { o.settle_ns = nanoseconds(t); }},
    {"start", "S.NNNNNNNNN", "time stamp of a run's first sample in seconds (default: the clock)",
     [](Options& o, const Text& t) { o.start_ns = nanoseconds(t); }},
    {"speed", "N", "N times as fast as real time; 0 or max: as fast as the reader takes it",
     [](Options& o, const Text& t) { o.speed = speed(t); }},
    {"replay", "FILE",
     "play recorded port input, a line in the time of a sample, then be silent;\n"
     "the faults below have no effect on it",
     [](Options& o, const Text& t) { o.replay = t; }},
    {"records", "K", "silent after record K",
     [](Options& o, const Text& t) { o.faults.silent_after = period(t); }},

    {"bad-stamp", "N", "every N-th record has a wrong time-stamp check",
     [](Options& o, const Text& t) { o.faults.bad_stamp_period = period(t); }},
    {"bad-check", "N", "every N-th record has a wrong record check",
     [](Options& o, const Text& t) { o.faults.bad_check_period = period(t); }},
    {"malformed", "N", "every N-th record has a spoiled number",
     [](Options& o, const Text& t) { o.faults.malformed_period = period(t); }},
    {"noise", "N[:BYTES]", "noise (default 8 bytes) before every N-th record",
     [](Options& o, const Text& t) { set_noise(t, o.faults); }},
    {"junk", "K:BYTES", "bytes without delimiter after record K",
     [](Options& o, const Text& t) { o.faults.junk.push_back(incident(t, byte_count)); }},
    {"pause", "K:S", "nothing for S seconds, at any speed, after record K",
     [](Options& o, const Text& t) { o.faults.pauses.push_back(incident(t, nanoseconds)); }},
    {"back", "K:S", "time goes back by S seconds at record K",
     [](Options& o, const Text& t) { o.faults.steps_back.push_back(incident(t, nanoseconds)); }},
    {"power-cycle", "K[:S]", "no power for S seconds (default 3) after record K, then operate mode",
     [](Options& o, const Text& t) { o.faults.power_cycles.push_back(power_cycle(t)); }},
    {"hang-up", "K", "take the line away after record K and end",
     [](Options& o, const Text& t) { o.faults.hang_up_after = period(t); }},

    {"trace", nullptr, "a line on standard output for every change of mode or setting",
     [](Options& o, const Text&) { o.trace = true; }},
    {"help", nullptr, "print this and end", [](Options& o, const Text&) { o.help = true; }},
};

constexpr char HELP_HEAD[] =
    "sonic-simulator [OPTION]...\n"
    "Plays an ultrasonic anemometer and its port driver on a pseudo-terminal until interrupted.\n"
    "\n"
    "Until somebody has set the instrument up, it streams in real time without faults. A run\n"
    "begins when its menu is left: one line, the settling time, then record 1. --start, --speed,\n"
    "--replay, --records and the faults belong to the run. It ends when the menu is entered or\n"
    "the port is closed. Faults with N are repeated; those with K happen once, and with an amount\n"
    "they may be given several times.\n"
    "\n";

constexpr char HELP_TAIL[] =
    "\n"
    "Exit status: 0 when interrupted or hung up, 1 on failure, 2 on a bad option.\n";

}  // namespace

Options parse_options(int argc, char* const argv[]) {
  std::vector<option> long_options;
  for (const Option& o : OPTIONS) {
    long_options.push_back({o.name, o.argument ? required_argument : no_argument, nullptr, 0});
  }
  long_options.push_back({nullptr, 0, nullptr, 0});

  Options options;
  optind = 0;  // start over, should this be a second call
  opterr = 0;
  int index = 0;
  int found = 0;
  while ((found = getopt_long(argc, argv, ":", long_options.data(), &index)) == 0) {
    const Option& o = OPTIONS[index];
    try {
      o.set(options, optarg == nullptr ? "" : optarg);
    } catch (const std::invalid_argument& e) {
      throw std::invalid_argument(std::string("--") + o.name + ": " + e.what());
    }
  }
  const auto argument = [argv](int i) { return std::string(argv[i]); };
  if (found == ':') throw std::invalid_argument(argument(optind - 1) + ": needs a value");
  if (found == '?') throw std::invalid_argument(argument(optind - 1) + ": no such option");
  if (optind < argc) throw std::invalid_argument(argument(optind) + ": not an option");
  return options;
}

std::string help_text() {
  std::ostringstream text;
  text << HELP_HEAD;
  for (const Option& o : OPTIONS) {
    std::string head = std::string("  --") + o.name;
    if (o.argument != nullptr) head += std::string(" ") + o.argument;
    std::istringstream lines(o.help);
    for (std::string line; std::getline(lines, line); head.clear()) {
      text << std::left << std::setw(HELP_COLUMN) << head << line << '\n';
    }
  }
  text << HELP_TAIL;
  return text.str();
}

}  // namespace sonic::simulator
