#include "young/young_81000_settings.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <stdexcept>

#include "records/young_81000_record.h"
#include "young/dialogue.h"
#include "young/young_81000_menu.h"

namespace sonic {

const std::map<unsigned int, std::string> young_81000_baud_rates = {
    {4800, "C"},
    {9600, "D"},
    {19200, "E"},
    {38400, "F"},
};

const std::vector<unsigned int> allowed_baud_rates = {38400, 19200, 9600, 4800};

const std::map<unsigned int, std::string> output_rates = {
    {4, "A"}, {5, "B"}, {8, "C"}, {10, "D"}, {16, "E"}, {20, "F"}, {32, "G"},
};

const std::map<std::string, std::string> young_81000_error_handling = {
    {"include", "1"},
    {"omit", "2"},
};

const std::map<std::string, std::string> young_81000_output_format = {
    {"custom", "1"},
    {"nmea", "3"},
};

const regex re_baud_rate("BAUD = ([0-9]+)");
const regex re_output_rate("OUTPUT RATE = ([0-9]+)[ ]*Hz");
const regex re_averaging("NUM OF SAMP TO AVG:[[:space:]]([0-9]+)");

namespace {

// Keys below the set-up menu.
constexpr const char* BAUD_RATE_MENU = "B";
constexpr const char* OUTPUT_RATE_MENU = "O";
constexpr const char* AVERAGING_PROMPT = "A";
constexpr const char* ERROR_HANDLING_MENU = "E";
constexpr const char* OUTPUT_FORMAT_MENU = "S";

constexpr const char* SHORT_CONFIGURATION_KEY = "R";
constexpr const char* KEEP_VALUE = "";

// What shows that a menu was entered, and what is thrown when it was not.
constexpr const char* BAUD_RATE_SHOWN = "BAUD = ";
constexpr const char* NO_BAUD_RATE_MENU = "Could not enter BAUD RATE menu";
constexpr const char* ERROR_HANDLING_SHOWN = "ERROR HANDLING = ";
constexpr const char* NO_ERROR_HANDLING_MENU = "Count not enter ERROR HANDLING menu";
constexpr const char* OUTPUT_FORMAT_SHOWN = "SER OUT FORMAT = ";
constexpr const char* NO_OUTPUT_FORMAT_MENU = "Count not enter OUTPUT FORMAT menu";
constexpr const char* NO_OUTPUT_RATE = "Cannot get output rate";
constexpr const char* NO_AVERAGING = "Cannot get averaging";

// Field selection for u, v, w, speed of sound, sonic temperature and the diagnostic word.
constexpr const char* CUSTOM_FORMAT = "5ABEC\n";

constexpr unsigned int BAUD_CHANGE_SECONDS = 2;
constexpr unsigned int MAX_BAUD_CHANGE_CHARS = 1000;

constexpr int SHORT_CONFIGURATION_ROUNDS = 13;
constexpr unsigned int SHORT_CONFIGURATION_SECONDS = 1;
constexpr unsigned int MAX_SHORT_CONFIGURATION_CHARS = 2000;
constexpr const char* SHORT_CONFIGURATION_END = "COMMANDS (";
constexpr const char* SHORT_CONFIGURATION_PAGING = "PRESS ANY KEY TO CONTINUE...";

void heading(bool verbose, const std::string& text) {
  if (verbose) std::cout << "## " << text << std::endl;
}

// Answers a prompt: the text and a carriage return.
std::string answer(Serial& port, const std::string& text, bool verbose) {
  interactive_tx(port, text, verbose);
  return young_81000_receive_page(port, verbose);
}

// The page below the set-up menu. Throws `complaint` when the page lacks `shown`.
std::string enter_menu(Serial& port, const char* keys, const char* shown, const char* complaint,
                       bool verbose) {
  std::string page = young_81000_goto_sub_menu(port, keys, verbose);
  if (page.find(shown) == std::string::npos) throw std::runtime_error(complaint);
  return page;
}

// The first sub-match; whether the pattern matched at all.
bool first_submatch(const regex& pattern, const std::string& text, std::string& value) {
  regex::submatches m;
  if (!pattern.is_match(text, m)) return false;
  value = submatch_text(text, m.at(1));
  return true;
}

unsigned int to_number(const std::string& digits) {
  return static_cast<unsigned int>(std::stoul(digits));
}

}  // namespace

std::string young_81000_get_info(Serial& port, bool verbose) {
  heading(verbose, "Get short config");
  std::string result;
  for (int round = 0; round < SHORT_CONFIGURATION_ROUNDS; ++round) {
    port.flush_input();
    interactive_tx_ncr(port, SHORT_CONFIGURATION_KEY, verbose);
    const std::string received =
        interactive_rx(port, SHORT_CONFIGURATION_SECONDS, MAX_SHORT_CONFIGURATION_CHARS, false);
    const std::string text =
        young_81000_extractor(reinterpret_cast<const unsigned char*>(received.data()),
                              static_cast<unsigned int>(received.size()), verbose);
    const size_t end = text.find(SHORT_CONFIGURATION_END);
    if (end != std::string::npos) {
      result += text.substr(0, end);
      break;
    }
    // The next round's key is also the one that continues.
    const size_t prompt = text.find(SHORT_CONFIGURATION_PAGING);
    if (prompt != std::string::npos) result += text.substr(0, prompt);
  }
  std::replace(result.begin(), result.end(), '\r', '\n');
  if (verbose) std::cout << "short config='" << result << "'" << std::endl;
  return result;
}

std::string young_81000_get_firmware_version(const std::string& info) {
  std::string version;
  first_submatch(regex("VERSION (.+)\n"), info, version);
  return version;
}

unsigned int young_81000_get_baud_rate(Serial& port, bool verbose) {
  heading(verbose, "Get baud rate");
  const std::string page =
      enter_menu(port, BAUD_RATE_MENU, BAUD_RATE_SHOWN, NO_BAUD_RATE_MENU, verbose);
  std::string rate;
  const bool found = first_submatch(re_baud_rate, page, rate);
  young_81000_goto_top_menu(port, page, verbose);
  if (!found) throw std::runtime_error("Could not determine baud rate");
  return to_number(rate);
}

void young_81000_set_baud_rate(Serial& port, unsigned int rate, bool verbose) {
  heading(verbose, "Set baud rate to " + std::to_string(rate));
  const std::string& key = young_81000_baud_rates.at(rate);
  const std::string page =
      enter_menu(port, BAUD_RATE_MENU, BAUD_RATE_SHOWN, NO_BAUD_RATE_MENU, verbose);
  if (page.find(BAUD_RATE_SHOWN + std::to_string(rate)) == std::string::npos) {
    young_81000_press(port, key, verbose);
    interactive_tx_ncr(port, YOUNG_EXIT_KEY, verbose);
    young_interactive_rx(port, BAUD_CHANGE_SECONDS, MAX_BAUD_CHANGE_CHARS, verbose);
    // From here on the instrument answers at the new rate.
    port.set_baud(rate);
    sleep(BAUD_CHANGE_SECONDS);
  }
  young_81000_goto_top_menu(port, page, verbose);
}

unsigned int young_81000_get_output_rate(Serial& port, bool verbose) {
  heading(verbose, "Get output rate");
  const std::string page = young_81000_goto_sub_menu(port, OUTPUT_RATE_MENU, verbose);
  std::string rate;
  if (!first_submatch(re_output_rate, page, rate)) throw std::runtime_error(NO_OUTPUT_RATE);
  young_81000_goto_top_menu(port, page, verbose);
  return to_number(rate);
}

void young_81000_set_output_rate(Serial& port, unsigned int hz, bool verbose) {
  heading(verbose, "Set output rate to " + std::to_string(hz));
  const std::string& key = output_rates.at(hz);
  const std::string expected = "OUTPUT RATE = " + std::to_string(hz) + " Hz";
  std::string page = young_81000_goto_sub_menu(port, OUTPUT_RATE_MENU, verbose);
  if (verbose) std::cout << "set='" << expected << "', got='" << page << "'" << std::endl;
  if (regex(expected).is_match(page)) {
    if (verbose) std::cout << "output rate already " << hz << std::endl;
  } else {
    if (verbose) std::cout << "mismatch => change" << std::endl;
    page = young_81000_press(port, key, verbose);
  }
  young_81000_goto_top_menu(port, page, verbose);
}

unsigned int young_81000_get_averaging(Serial& port, bool verbose) {
  heading(verbose, "Get averaging");
  std::string page = young_81000_goto_sub_menu(port, AVERAGING_PROMPT, verbose);
  std::string samples;
  if (!first_submatch(re_averaging, page, samples)) throw std::runtime_error(NO_AVERAGING);
  page = answer(port, KEEP_VALUE, verbose);
  young_81000_goto_top_menu(port, page, verbose);
  return to_number(samples);
}

void young_81000_set_averaging(Serial& port, unsigned int n, bool verbose) {
  heading(verbose, "Set averaging to " + std::to_string(n));
  std::string page = young_81000_goto_sub_menu(port, AVERAGING_PROMPT, verbose);
  if (!re_averaging.is_match(page)) throw std::runtime_error(NO_AVERAGING);
  page = answer(port, std::to_string(n), verbose);
  young_81000_goto_top_menu(port, page, verbose);
}

std::string young_81000_get_output_format(Serial& port, bool verbose) {
  heading(verbose, "Get output format");
  std::string page =
      enter_menu(port, OUTPUT_FORMAT_MENU, OUTPUT_FORMAT_SHOWN, NO_OUTPUT_FORMAT_MENU, verbose);
  std::string format;
  if (!first_submatch(regex("SER OUT FORMAT = ([0-9]+)"), page, format)) {
    throw std::runtime_error("Cannot output format");
  }
  const std::string custom = young_81000_output_format.at("custom");
  if (format == custom) {
    page = young_81000_press(port, custom, verbose);
    first_submatch(regex("SERIAL OUTPUT FORMAT:\n ([^ ]+) "), page, format);
    if (verbose) std::cout << "CUSTOM: '" << format << "'" << std::endl;
    page = answer(port, KEEP_VALUE, verbose);
  }
  young_81000_goto_top_menu(port, page, verbose);
  return format;
}

void young_81000_set_output_format(Serial& port, bool verbose) {
  heading(verbose, "Get output format");  // the heading of reading it serves both
  enter_menu(port, OUTPUT_FORMAT_MENU, OUTPUT_FORMAT_SHOWN, NO_OUTPUT_FORMAT_MENU, verbose);
  young_81000_press(port, young_81000_output_format.at("custom"), verbose);
  interactive_slow_write(port, CUSTOM_FORMAT);
  const std::string page = young_81000_receive_page(port, verbose);
  young_81000_goto_top_menu(port, page, verbose);
}

void young_81000_set_error_handling(Serial& port, std::string name, bool verbose) {
  heading(verbose, "Set error handling");
  const std::string& code = young_81000_error_handling.at(name);
  std::string page =
      enter_menu(port, ERROR_HANDLING_MENU, ERROR_HANDLING_SHOWN, NO_ERROR_HANDLING_MENU, verbose);
  std::string current;
  if (first_submatch(regex("ERROR HANDLING = ([0-9]+)"), page, current) && current != code) {
    page = young_81000_press(port, code, verbose);
  }
  young_81000_goto_top_menu(port, page, verbose);
}

}  // namespace sonic
