#include "simulator/options.h"

#include <cstdlib>
#include <limits>
#include <map>
#include <stdexcept>
#include <vector>

#include "base/command_line.h"

namespace sonic::simulator {

namespace {

constexpr uint64_t MAX_COUNT = std::numeric_limits<uint32_t>::max();
constexpr uint64_t MAX_AVERAGED_SAMPLES = 9999;
constexpr uint64_t MAX_BYTES = 1000000;
constexpr uint64_t MAX_SECONDS = 10000000000;  // so that nanoseconds stay within 64 bits
constexpr uint64_t DEFAULT_POWER_OFF = 3 * NANOSECONDS_PER_SECOND;
constexpr double MIN_SPEED = 0.001, MAX_SPEED = 1e6;  // times real time
constexpr size_t NANOSECOND_DIGITS = 9;
constexpr size_t MAX_FIELDS = 20;

const std::map<std::string, State> STATES = {{"operate", State::OPERATE},
                                             {"top", State::TOP},
                                             {"sub", State::SUB},
                                             {"silent", State::SILENT}};
const std::map<std::string, ErrorHandling> ERROR_HANDLINGS = {{"include", ErrorHandling::INCLUDE},
                                                              {"omit", ErrorHandling::OMIT}};
const std::map<std::string, OutputFormat> FORMATS = {{"custom", OutputFormat::CUSTOM},
                                                     {"nmea", OutputFormat::NMEA}};

constexpr const char* ABOUT =
    R"(Plays an ultrasonic anemometer and its port driver on a pseudo-terminal until it is
interrupted.

Until the instrument has been set up, it sends records in real time, without faults. A run
begins when its menu is left: one line, the settling time, then record 1. --start, --speed,
--replay, --records and the options for faults apply to the run. It ends when the menu is
entered or the port is closed. A fault with N is repeated. A fault with K happens once; if it
has an amount, the option may be given several times.
)";

constexpr const char* NOTES =
    "Exit status: 0 when interrupted or hung up, 1 on failure, 2 for a wrong command line.\n";

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

// "1700000000.25" without the rounding of a floating-point number.
uint64_t nanoseconds(const std::string& text) {
  const size_t point = text.find('.');
  const uint64_t seconds = number(text.substr(0, point), 0, MAX_SECONDS);
  std::string fraction = point == std::string::npos ? "0" : text.substr(point + 1);
  if (fraction.empty() || fraction.size() > NANOSECOND_DIGITS || !all_digits(fraction)) {
    reject(text, "a number of seconds with at most nine decimals");
  }
  fraction.resize(NANOSECOND_DIGITS, '0');
  return seconds * NANOSECONDS_PER_SECOND + std::stoull(fraction);
}

uint64_t period(const std::string& text) { return number(text, 1, MAX_COUNT); }

uint64_t byte_count(const std::string& text) { return number(text, 1, MAX_BYTES); }

double speed(const std::string& text) {
  if (text == "max") return 0;
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  const bool in_range = value == 0 || (value >= MIN_SPEED && value <= MAX_SPEED);
  if (text.empty() || *end != '\0' || !in_range) {
    reject(text, "0, a number from 0.001 to 1000000, or max");
  }
  return value;
}

// "record:amount".
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

// The value that goes with the name.
template <typename Value>
Value named(const std::string& text, const std::map<std::string, Value>& values) {
  const auto found = values.find(text);
  if (found != values.end()) return found->second;
  std::string wanted = "one of";
  for (const auto& value : values) wanted += " " + value.first;
  reject(text, wanted);
}

unsigned int offered(const std::string& text, bool (*is_offered)(unsigned int)) {
  const auto value = static_cast<unsigned int>(number(text, 0, MAX_COUNT));
  if (!is_offered(value)) reject(text, "in the instrument's menu");
  return value;
}

std::string fields(const std::string& text) {
  if (text.empty() || text.size() > MAX_FIELDS ||
      text.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ") != std::string::npos) {
    reject(text, "one to twenty capital letters and digits");
  }
  return text;
}

using Text = std::string;

std::vector<Option> options_into(Options& o) {
  return {
      {"link", "PATH", "link the port to PATH, such as /dev/ttyS1", store(o.link)},
      {"state", "STATE", "operate (default), top or sub (in a menu), silent (answers nothing)",
       [&o](const Text& t) { o.state = named(t, STATES); }},
      {"baud", "BAUD", "4800, 9600, 19200 or 38400 (default)",
       [&o](const Text& t) { o.settings.baud = offered(t, is_baud_rate); }},
      {"rate", "HZ", "output rate: 4, 5, 8, 10 (default), 16, 20 or 32 Hz",
       [&o](const Text& t) { o.settings.rate = offered(t, is_output_rate); }},
      {"averaging", "N", "samples averaged into a record (default 0: off)",
       [&o](const Text& t) {
         o.settings.averaging = static_cast<unsigned int>(number(t, 0, MAX_AVERAGED_SAMPLES));
       }},
      {"error-handling", "HOW", "include (default) or omit samples with errors",
       [&o](const Text& t) { o.settings.error_handling = named(t, ERROR_HANDLINGS); }},
      {"format", "FORMAT", "custom (default) or nmea",
       [&o](const Text& t) { o.settings.format = named(t, FORMATS); }},
      {"fields", "TEXT",
       "fields of the custom format (default 5ABCDE): 5 u v w, A speed of sound,\n"
       "B temperature, C checksum, D voltage inputs, E diagnostic word",
       [&o](const Text& t) { o.settings.fields = fields(t); }},
      {"paging", "", "send the pages of the single settings in two pieces", store(o.paging)},
      {"errors", "N", "every N-th sample has a diagnostic word that is not zero",
       [&o](const Text& t) { o.error_period = period(t); }},
      {"seed", "N", "seed of wind and noise (default 1); the same seed gives the same run",
       [&o](const Text& t) { o.seed = static_cast<uint32_t>(number(t, 0, MAX_COUNT)); }},

      {"raw", "", "send records without stamps, as the instrument itself does", store(o.raw)},
      {"no-setup", "", "a run also begins when the port is opened", store(o.no_setup)},
      {"settle", "S", "seconds from the line that ends the set-up to the run (default 0.5)",
       [&o](const Text& t) { o.settle_ns = nanoseconds(t); }},
      {"start", "S.NNNNNNNNN", "stamp of a run's first sample in seconds (default: the clock)",
       [&o](const Text& t) { o.start_ns = nanoseconds(t); }},
      {"speed", "N", "N times as fast as real time; 0 or max: as fast as the reader takes it",
       [&o](const Text& t) { o.speed = speed(t); }},
      {"replay", "FILE",
       "play recorded port input, one line in the time of each sample, and then be\n"
       "silent; the faults below have no effect on it",
       store(o.replay)},
      {"records", "K", "send nothing after record K",
       [&o](const Text& t) { o.faults.silent_after = period(t); }},

      {"bad-stamp", "N", "every N-th record has a wrong stamp checksum",
       [&o](const Text& t) { o.faults.bad_stamp_period = period(t); }},
      {"bad-check", "N", "every N-th record has a wrong record checksum",
       [&o](const Text& t) { o.faults.bad_checksum_period = period(t); }},
      {"malformed", "N", "every N-th record has a damaged number",
       [&o](const Text& t) { o.faults.malformed_period = period(t); }},
      {"noise", "N[:BYTES]", "noise (default 8 bytes) before every N-th record",
       [&o](const Text& t) { set_noise(t, o.faults); }},
      {"junk", "K:BYTES", "send BYTES without a delimiter after record K",
       [&o](const Text& t) { o.faults.junk.push_back(incident(t, byte_count)); }},
      {"pause", "K:S", "send nothing for S seconds, at any speed, after record K",
       [&o](const Text& t) { o.faults.pauses.push_back(incident(t, nanoseconds)); }},
      {"back", "K:S", "time goes back by S seconds at record K",
       [&o](const Text& t) { o.faults.steps_back.push_back(incident(t, nanoseconds)); }},
      {"power-cycle", "K[:S]",
       "no power for S seconds (default 3) after record K, then operate mode",
       [&o](const Text& t) { o.faults.power_cycles.push_back(power_cycle(t)); }},
      {"hang-up", "K", "hang up the line after record K and end",
       [&o](const Text& t) { o.faults.hang_up_after = period(t); }},

      {"trace", "", "print a line for every change of mode or setting", store(o.trace)},
  };
}

}  // namespace

std::optional<Options> parse_options(int argc, char* const argv[]) {
  Options options;
  const CommandLine command_line = {"sonic-simulator", "[OPTION]...", ABOUT, options_into(options),
                                    NOTES};
  const auto others = command_line.parse(argc, argv);
  if (!others) return std::nullopt;
  if (!others->empty()) throw UsageError(others->front() + ": not an option");
  return options;
}

}  // namespace sonic::simulator
