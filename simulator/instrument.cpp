#include "simulator/instrument.h"

#include <algorithm>
#include <iterator>

#include "simulator/output_line.h"

namespace sonic::simulator {

namespace {

struct Choice {
  char key;
  unsigned int value;
};

constexpr Choice BAUD_RATES[] = {{'C', 4800}, {'D', 9600}, {'E', 19200}, {'F', 38400}};
constexpr Choice OUTPUT_RATES[] = {{'A', 4},  {'B', 5},  {'C', 8}, {'D', 10},
                                   {'E', 16}, {'F', 20}, {'G', 32}};

constexpr char ESCAPE = '\x1b';
constexpr char EXIT_KEY = 'X';
constexpr int ESCAPES_TO_INTERRUPT = 3;
constexpr size_t LONGEST_INPUT = 20;
constexpr size_t LONGEST_NUMBER = 4;

constexpr char PAGE_BREAK = '\f';  // in the texts below only, never sent
constexpr char CONTINUE_PROMPT[] = "PRESS ANY KEY TO CONTINUE...";

// Menu pages stay below 300 characters, so that a reader who looks for the exit line in a first
// short read finds it. The top page has no capital E before its exit line: a reader that looks for
// that line while the last data arrive, and keeps only what begins with its first letter, then
// cannot lose it where two of its reads meet.
constexpr char TOP_PAGE[] =
    "COMMANDS (press a key):\r"
    " S) Set-up\r"
    " R) Report short configuration\r"
    " X) EXIT TO OPERATE MODE\r";

// The same line below the set-up menu and in it, although the key climbs one level only.
constexpr char SUB_MENU_EXIT[] = " X) EXIT TO MAIN MENU\r";

constexpr char IDENTITY[] = "MODEL 81000\rSERIAL NUMBER 00815\r";
constexpr char VERSION[] = "VERSION 4.10";

bool ends_line(char c) { return c == '\r' || c == '\n'; }

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

template <size_t n>
bool contains(const Choice (&choices)[n], unsigned int value) {
  return std::any_of(std::begin(choices), std::end(choices),
                     [value](const Choice& choice) { return choice.value == value; });
}

template <size_t n>
void choose(const Choice (&choices)[n], char key, unsigned int& value) {
  for (const Choice& choice : choices) {
    if (choice.key == key) value = choice.value;
  }
}

template <size_t n>
std::string entries(const Choice (&choices)[n], const std::string& unit) {
  std::string text;
  for (const Choice& choice : choices) {
    text += std::string(" ") + choice.key + ") " + std::to_string(choice.value) + unit + "\r";
  }
  return text;
}

std::string baud_heading(unsigned int baud) { return "BAUD = " + std::to_string(baud) + "\r"; }

std::string rate_heading(const Settings& settings) {
  return "OUTPUT RATE = " + std::to_string(settings.rate) + " Hz\r";
}

std::string averaging_heading(const Settings& settings) {
  return "NUM OF SAMP TO AVG: " + std::to_string(settings.averaging);
}

std::string errors_heading(const Settings& settings) {
  return "ERROR HANDLING = " + std::to_string(static_cast<unsigned int>(settings.error_handling)) +
         "\r";
}

std::string format_heading(const Settings& settings) {
  return "SER OUT FORMAT = " + std::to_string(static_cast<unsigned int>(settings.format)) + "\r";
}

std::string fields_heading(const Settings& settings) {
  return "SERIAL OUTPUT FORMAT:\r " + settings.fields + " ";
}

}  // namespace

const Instrument::SetupEntry Instrument::SETUP_ENTRIES[] = {
    {'B', Page::BAUD, "BAUD RATE"},
    {'O', Page::RATE, "OUTPUT RATE"},
    {'A', Page::AVERAGING_PROMPT, "AVERAGING"},
    {'E', Page::ERRORS, "ERROR HANDLING"},
    {'S', Page::FORMAT, "SERIAL OUTPUT FORMAT"},
};

bool is_baud_rate(unsigned int baud) { return contains(BAUD_RATES, baud); }

bool is_output_rate(unsigned int hz) { return contains(OUTPUT_RATES, hz); }

Instrument::Instrument(const Settings& settings, State state, bool paging)
    : settings_(settings),
      page_(state == State::OPERATE ? Page::OPERATE
            : state == State::TOP   ? Page::TOP
            : state == State::SUB   ? Page::RATE
                                    : Page::SILENT),
      paging_(paging),
      chosen_baud_(settings.baud) {}

std::string Instrument::key(char c) {
  if (page_ == Page::SILENT) return "";
  if (page_ == Page::OPERATE) return operate_key(c);
  const std::string echo(1, c);
  if (!rest_.empty()) return echo + "\r" + show(rest_);
  if (prompting()) return echo + prompt_key(upper(c));
  return echo + "\r" + menu_key(upper(c));
}

std::string Instrument::operate_key(char c) {
  escapes_ = c == ESCAPE ? escapes_ + 1 : 0;
  if (escapes_ < ESCAPES_TO_INTERRUPT) return "";
  forget_input();
  page_ = Page::TOP;
  return show(page_text());
}

/// A key that the page does not know shows the page again.
std::string Instrument::menu_key(char key) {
  if (key == EXIT_KEY) {
    leave_page();
  } else if (page_ == Page::TOP) {
    if (key == 'R') return show(short_configuration() + page_text());
    if (key == 'S') page_ = Page::SETUP;
  } else if (page_ == Page::SETUP) {
    for (const SetupEntry& entry : SETUP_ENTRIES) {
      if (entry.key == key) page_ = entry.page;
    }
  } else if (page_ == Page::BAUD) {
    choose(BAUD_RATES, key, chosen_baud_);
  } else if (page_ == Page::RATE) {
    choose(OUTPUT_RATES, key, settings_.rate);
  } else if (page_ == Page::ERRORS) {
    if (key == '1') settings_.error_handling = ErrorHandling::INCLUDE;
    if (key == '2') settings_.error_handling = ErrorHandling::OMIT;
  } else if (page_ == Page::FORMAT) {
    if (key == '3') settings_.format = OutputFormat::NMEA;
    if (key == '1') {
      settings_.format = OutputFormat::CUSTOM;
      page_ = Page::FORMAT_PROMPT;
    }
  }
  return show(page_text());
}

/// Either line end enters what was typed, nothing typed keeps the value, and the exit key leaves
/// without a change, so that nobody who lost the thread is caught here.
std::string Instrument::prompt_key(char key) {
  if (!ends_line(key) && key != EXIT_KEY) {
    if (typed_.size() < LONGEST_INPUT) typed_ += key;
    return "";
  }
  if (ends_line(key)) enter_typed();
  typed_.clear();
  leave_page();
  return "\r" + show(page_text());
}

void Instrument::enter_typed() {
  if (typed_.empty()) return;
  if (page_ == Page::FORMAT_PROMPT) {
    settings_.fields = typed_;
  } else if (typed_.size() <= LONGEST_NUMBER &&
             typed_.find_first_not_of("0123456789") == std::string::npos) {
    settings_.averaging = static_cast<unsigned int>(std::stoul(typed_));
  }
}

void Instrument::leave_page() {
  settings_.baud = chosen_baud_;
  if (page_ == Page::TOP) {
    power_up();
  } else if (page_ == Page::SETUP) {
    page_ = Page::TOP;
  } else if (page_ == Page::FORMAT_PROMPT) {
    page_ = Page::FORMAT;
  } else {
    page_ = Page::SETUP;
  }
}

bool Instrument::prompting() const {
  return page_ == Page::AVERAGING_PROMPT || page_ == Page::FORMAT_PROMPT;
}

/// Up to the next page break; any key then shows the rest.
std::string Instrument::show(std::string text) {
  rest_.clear();
  const size_t end = text.find(PAGE_BREAK);
  if (end == std::string::npos) return text;
  rest_ = text.substr(end + 1);
  return text.substr(0, end) + CONTINUE_PROMPT;
}

std::string Instrument::page_text() const {
  switch (page_) {
    case Page::SILENT:
    case Page::OPERATE:
      return "";
    case Page::TOP:
      return TOP_PAGE;
    case Page::SETUP: {
      std::string text = "SET-UP:\r";
      for (const SetupEntry& entry : SETUP_ENTRIES) {
        text += std::string(" ") + entry.key + ") " + entry.name + "\r";
      }
      return text + SUB_MENU_EXIT;
    }
    case Page::BAUD:
      return setting_page(baud_heading(chosen_baud_), entries(BAUD_RATES, ""));
    case Page::RATE:
      return setting_page(rate_heading(settings_), entries(OUTPUT_RATES, " Hz"));
    case Page::ERRORS:
      return setting_page(errors_heading(settings_), " 1) INCLUDE\r 2) OMIT\r");
    case Page::FORMAT:
      return setting_page(format_heading(settings_), " 1) CUSTOM\r 3) NMEA\r");
    case Page::AVERAGING_PROMPT:
      return averaging_heading(settings_) + " ? ";
    case Page::FORMAT_PROMPT:
      return fields_heading(settings_) + "? ";
  }
  return "";
}

std::string Instrument::setting_page(const std::string& heading, const std::string& entries) const {
  return heading + (paging_ ? std::string(1, PAGE_BREAK) : "") + entries + SUB_MENU_EXIT;
}

/// The version stands last because readers take what follows the word up to the end of the text.
std::string Instrument::short_configuration() const {
  return IDENTITY + baud_heading(chosen_baud_) + rate_heading(settings_) +
         averaging_heading(settings_) + "\r" + PAGE_BREAK + errors_heading(settings_) +
         format_heading(settings_) + fields_heading(settings_) + "\r" + VERSION + "\r";
}

std::string Instrument::measure(const Sample& sample) {
  if (sample.diagnostic != 0 && settings_.error_handling == ErrorHandling::OMIT) return "";
  sum_.u += sample.u;
  sum_.v += sample.v;
  sum_.w += sample.w;
  sum_.speed_of_sound += sample.speed_of_sound;
  sum_.temperature += sample.temperature;
  sum_.diagnostic |= sample.diagnostic;
  if (++summed_ < settings_.averaging) return "";
  Sample mean;
  mean.u = sum_.u / summed_;
  mean.v = sum_.v / summed_;
  mean.w = sum_.w / summed_;
  mean.speed_of_sound = sum_.speed_of_sound / summed_;
  mean.temperature = sum_.temperature / summed_;
  mean.diagnostic = sum_.diagnostic;
  sum_ = Sample();
  summed_ = 0;
  return output_line(settings_, mean);
}

void Instrument::power_up() {
  forget_input();
  sum_ = Sample();
  summed_ = 0;
  page_ = Page::OPERATE;
}

void Instrument::forget_input() {
  escapes_ = 0;
  typed_.clear();
  rest_.clear();
  chosen_baud_ = settings_.baud;
}

std::string Instrument::describe() const {
  const std::string mode = page_ == Page::SILENT    ? "silent"
                           : page_ == Page::OPERATE ? "operate mode"
                           : page_ == Page::TOP     ? "top menu"
                                                    : "sub-menu";
  return mode + ", " + std::to_string(settings_.baud) + " baud, " + std::to_string(settings_.rate) +
         " Hz, averaging " + std::to_string(settings_.averaging) + ", errors " +
         (settings_.error_handling == ErrorHandling::INCLUDE ? "included" : "omitted") +
         ", format " + (settings_.format == OutputFormat::NMEA ? "nmea" : settings_.fields);
}

}  // namespace sonic::simulator
