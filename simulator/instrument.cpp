#include "simulator/instrument.h"

#include <algorithm>
#include <iterator>

#include "simulator/output_line.h"

namespace sonic::simulator {

const Instrument::SetupEntry Instrument::SETUP_ENTRIES[] = {
    {'B', Page::BAUD, "BAUD RATE"},
    {'O', Page::RATE, "OUTPUT RATE"},
    {'A', Page::AVERAGING_PROMPT, "AVERAGING"},
    {'E', Page::ERRORS, "ERROR HANDLING"},
    {'S', Page::FORMAT, "SERIAL OUTPUT FORMAT"},
};

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
constexpr size_t MAX_INPUT_CHARS = 20;
constexpr size_t MAX_NUMBER_DIGITS = 4;

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

bool is_baud_rate(unsigned int baud) { return contains(BAUD_RATES, baud); }

bool is_output_rate(unsigned int hz) { return contains(OUTPUT_RATES, hz); }

Instrument::Instrument(const Settings& settings, State state, bool paging)
    : _settings(settings),
      _page(state == State::OPERATE ? Page::OPERATE
            : state == State::TOP   ? Page::TOP
            : state == State::SUB   ? Page::RATE
                                    : Page::SILENT),
      _paging(paging),
      _chosen_baud(settings.baud) {}

std::string Instrument::key(char c) {
  if (_page == Page::SILENT) return "";
  if (_page == Page::OPERATE) return operate_key(c);
  const std::string echo(1, c);
  if (!_rest.empty()) return echo + "\r" + show(_rest);
  if (prompting()) return echo + prompt_key(upper(c));
  return echo + "\r" + menu_key(upper(c));
}

std::string Instrument::operate_key(char c) {
  _escapes = c == ESCAPE ? _escapes + 1 : 0;
  if (_escapes < ESCAPES_TO_INTERRUPT) return "";
  forget_input();
  _page = Page::TOP;
  return show(page_text());
}

// A key that the page does not know shows the page again.
std::string Instrument::menu_key(char key) {
  if (key == EXIT_KEY) {
    leave_page();
  } else if (_page == Page::TOP) {
    if (key == 'R') return show(short_configuration() + page_text());
    if (key == 'S') _page = Page::SETUP;
  } else if (_page == Page::SETUP) {
    for (const SetupEntry& entry : SETUP_ENTRIES) {
      if (entry.key == key) _page = entry.page;
    }
  } else if (_page == Page::BAUD) {
    choose(BAUD_RATES, key, _chosen_baud);
  } else if (_page == Page::RATE) {
    choose(OUTPUT_RATES, key, _settings.rate);
  } else if (_page == Page::ERRORS) {
    if (key == '1') _settings.error_handling = ErrorHandling::INCLUDE;
    if (key == '2') _settings.error_handling = ErrorHandling::OMIT;
  } else if (_page == Page::FORMAT) {
    if (key == '3') _settings.format = OutputFormat::NMEA;
    if (key == '1') {
      _settings.format = OutputFormat::CUSTOM;
      _page = Page::FORMAT_PROMPT;
    }
  }
  return show(page_text());
}

// Either line end enters what was typed, nothing typed keeps the value, and the exit key leaves
// without a change, so that a reader that lost the thread is not caught here.
std::string Instrument::prompt_key(char key) {
  if (!ends_line(key) && key != EXIT_KEY) {
    if (_typed.size() < MAX_INPUT_CHARS) _typed += key;
    return "";
  }
  if (ends_line(key)) enter_typed();
  _typed.clear();
  leave_page();
  return "\r" + show(page_text());
}

void Instrument::enter_typed() {
  if (_typed.empty()) return;
  if (_page == Page::FORMAT_PROMPT) {
    _settings.fields = _typed;
  } else if (_typed.size() <= MAX_NUMBER_DIGITS &&
             _typed.find_first_not_of("0123456789") == std::string::npos) {
    _settings.averaging = static_cast<unsigned int>(std::stoul(_typed));
  }
}

void Instrument::leave_page() {
  _settings.baud = _chosen_baud;
  if (_page == Page::TOP) {
    power_up();
  } else if (_page == Page::SETUP) {
    _page = Page::TOP;
  } else if (_page == Page::FORMAT_PROMPT) {
    _page = Page::FORMAT;
  } else {
    _page = Page::SETUP;
  }
}

bool Instrument::prompting() const {
  return _page == Page::AVERAGING_PROMPT || _page == Page::FORMAT_PROMPT;
}

// Up to the next page break; any key then shows the rest.
std::string Instrument::show(std::string text) {
  _rest.clear();
  const size_t end = text.find(PAGE_BREAK);
  if (end == std::string::npos) return text;
  _rest = text.substr(end + 1);
  return text.substr(0, end) + CONTINUE_PROMPT;
}

std::string Instrument::page_text() const {
  switch (_page) {
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
      return setting_page(baud_heading(_chosen_baud), entries(BAUD_RATES, ""));
    case Page::RATE:
      return setting_page(rate_heading(_settings), entries(OUTPUT_RATES, " Hz"));
    case Page::ERRORS:
      return setting_page(errors_heading(_settings), " 1) INCLUDE\r 2) OMIT\r");
    case Page::FORMAT:
      return setting_page(format_heading(_settings), " 1) CUSTOM\r 3) NMEA\r");
    case Page::AVERAGING_PROMPT:
      return averaging_heading(_settings) + " ? ";
    case Page::FORMAT_PROMPT:
      return fields_heading(_settings) + "? ";
  }
  return "";
}

std::string Instrument::setting_page(const std::string& heading, const std::string& entries) const {
  return heading + (_paging ? std::string(1, PAGE_BREAK) : "") + entries + SUB_MENU_EXIT;
}

// The version is last because readers take what follows the word up to the end of the text.
std::string Instrument::short_configuration() const {
  return IDENTITY + baud_heading(_chosen_baud) + rate_heading(_settings) +
         averaging_heading(_settings) + "\r" + PAGE_BREAK + errors_heading(_settings) +
         format_heading(_settings) + fields_heading(_settings) + "\r" + VERSION + "\r";
}

std::string Instrument::measure(const Sample& sample) {
  if (sample.diagnostic != 0 && _settings.error_handling == ErrorHandling::OMIT) return "";
  _sum.u += sample.u;
  _sum.v += sample.v;
  _sum.w += sample.w;
  _sum.speed_of_sound += sample.speed_of_sound;
  _sum.temperature += sample.temperature;
  _sum.diagnostic |= sample.diagnostic;
  if (++_summed < _settings.averaging) return "";
  Sample mean;
  mean.u = _sum.u / _summed;
  mean.v = _sum.v / _summed;
  mean.w = _sum.w / _summed;
  mean.speed_of_sound = _sum.speed_of_sound / _summed;
  mean.temperature = _sum.temperature / _summed;
  mean.diagnostic = _sum.diagnostic;
  _sum = Sample();
  _summed = 0;
  return output_line(_settings, mean);
}

void Instrument::power_up() {
  forget_input();
  _sum = Sample();
  _summed = 0;
  _page = Page::OPERATE;
}

void Instrument::forget_input() {
  _escapes = 0;
  _typed.clear();
  _rest.clear();
  _chosen_baud = _settings.baud;
}

std::string Instrument::describe() const {
  const std::string mode = _page == Page::SILENT    ? "silent"
                           : _page == Page::OPERATE ? "operate mode"
                           : _page == Page::TOP     ? "top menu"
                                                    : "sub-menu";
  return mode + ", " + std::to_string(_settings.baud) + " baud, " + std::to_string(_settings.rate) +
         " Hz, averaging " + std::to_string(_settings.averaging) + ", errors " +
         (_settings.error_handling == ErrorHandling::INCLUDE ? "included" : "omitted") +
         ", format " + (_settings.format == OutputFormat::NMEA ? "nmea" : _settings.fields);
}

}  // namespace sonic::simulator
