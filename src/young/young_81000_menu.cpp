#include "young/young_81000_menu.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <stdexcept>

#include "app/interruption.h"
#include "records/dump.h"
#include "records/regex.h"
#include "young/dialogue.h"

namespace sonic {

const char* const YOUNG_EXIT_KEY = "X";

namespace {

constexpr const char* WAKE_KEY = "\r";
constexpr const char* INTERRUPT_KEYS = "\x1b\x1b\x1b";
constexpr const char* PAGING_PROMPT = "PRESS ANY KEY TO CONTINUE";
constexpr const char* SETUP_KEY = "S";

constexpr const char* MENU_SHOWN = "EXIT";
constexpr const char* TOP_MENU_DELIMITER = "EXIT TO OPERATE MODE\r";
constexpr const char* TOP_MENU_PATTERN = "EXIT TO OPERATE MODE\n";
constexpr const char* SUB_MENU_PATTERN = "EXIT(| TO MAIN MENU)\n";
constexpr const char* PAGE_END = "X) EXIT TO";
constexpr const char* STILL_IN_MENU = "EXIT TO";
constexpr const char* DATA_LINE_PATTERN = "(-?[0-9]+\\.[0-9]+[ ]+)+";
constexpr const char* DELIMITER_TIMEOUT = "TIMEOUT!!";

constexpr unsigned int PAGE_SECONDS = 1;
constexpr unsigned int MAX_PAGE_CHARS = 1000;

constexpr unsigned int MAX_WAKE_REPLY_CHARS = 330;
constexpr unsigned int MAX_ENTER_CHARS = 3000;
constexpr unsigned int ENTER_SECONDS = 5;
constexpr unsigned int MAX_ENTER_TIMEOUTS = 3;

constexpr unsigned int MOVE_UP_PAUSE = 2;
constexpr unsigned int MOVE_UP_SECONDS = 2;
constexpr unsigned int MAX_MOVE_UP_CHARS = 300;

constexpr unsigned int LEAVE_SECONDS = 1;
constexpr unsigned int MAX_LEAVE_CHARS = 250;
constexpr const char* LEAVE_TERMINATED = "young_exit_interactive: terminated by user";

bool contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

std::string with_line_feeds(std::string text) {
  std::replace(text.begin(), text.end(), '\r', '\n');
  return text;
}

void dump_text(const std::string& text) { dump(text.data(), static_cast<int>(text.size())); }

void _young_interactive_move_to_top(Serial& port, std::string text, bool verbose) {
  const regex sub_menu(SUB_MENU_PATTERN);
  const auto trace = [&] {
    std::cout << "_young_interactive_move_to_top: '" << text << "'" << std::endl;
  };
  trace();
  while (sub_menu.is_match(text)) {
    interactive_tx_ncr(port, YOUNG_EXIT_KEY, verbose);
    sleep(MOVE_UP_PAUSE);
    text = with_line_feeds(interactive_rx(port, MOVE_UP_SECONDS, MAX_MOVE_UP_CHARS, verbose));
    throw_if_terminated("_young_interactive_move_to_top: terminated by user");
    if (verbose) trace();
  }
}

// What the instrument answers at once to a key.
std::string wake(Serial& port, bool verbose) {
  port.flush_input();
  interactive_slow_write(port, WAKE_KEY);
  std::array<char, MAX_WAKE_REPLY_CHARS> block;
  const int n = port.read(block.data(), MAX_WAKE_REPLY_CHARS);
  if (n == 0) return "";
  std::string text = with_line_feeds(std::string(block.data(), static_cast<size_t>(n)));
  if (verbose) {
    std::cout << "young_enter_interactive: read '";
    dump_text(text);
    std::cout << "'" << std::endl;
  }
  return text;
}

}  // namespace

std::string young_interactive_rx(Serial& port, unsigned int timeout_s, unsigned int max_chars,
                                 bool verbose) {
  std::string page;
  do {
    const std::string chunk = interactive_rx(port, timeout_s, max_chars, false);
    if (verbose) dump_text(chunk);
    if (chunk.empty()) break;
    // An instrument that streams instead of showing a page leaves no silence that would end it.
    throw_if_terminated("young_interactive_rx: terminated by user");
    page += chunk;
    const size_t prompt = page.find(PAGING_PROMPT);
    if (prompt != std::string::npos) {
      page.erase(prompt);
      interactive_tx(port, "", false);
    }
  } while (!contains(page, PAGE_END));
  page = with_line_feeds(page);
  if (verbose) std::cout << page << std::endl;
  return page;
}

std::string young_81000_receive_page(Serial& port, bool verbose) {
  return young_interactive_rx(port, PAGE_SECONDS, MAX_PAGE_CHARS, verbose);
}

std::string young_81000_press(Serial& port, const std::string& key, bool verbose) {
  interactive_tx_ncr(port, key, verbose);
  return young_81000_receive_page(port, verbose);
}

std::string young_81000_goto_top_menu(Serial& port, std::string text, bool verbose) {
  const regex top_menu(TOP_MENU_PATTERN);
  do {
    text = young_81000_press(port, YOUNG_EXIT_KEY, verbose);
  } while (!top_menu.is_match(text));
  return text;
}

std::string young_81000_goto_sub_menu(Serial& port, std::string keys, bool verbose) {
  std::string page;
  for (const char key : SETUP_KEY + keys) {
    page = young_81000_press(port, std::string(1, key), verbose);
  }
  return page;
}

void young_enter_interactive(Serial& port, bool verbose) {
  if (verbose) std::cout << "ALREADY INTERACTIVE?" << std::endl;
  const std::string text = wake(port, verbose);
  if (contains(text, MENU_SHOWN)) {
    _young_interactive_move_to_top(port, text, verbose);
    return;
  }

  if (verbose) std::cout << "young_enter_interactive: not yet interactive" << std::endl;
  port.flush_input();
  interactive_slow_write(port, INTERRUPT_KEYS);
  try {
    interactive_read_to_delimiter(port, TOP_MENU_DELIMITER, MAX_ENTER_CHARS, ENTER_SECONDS,
                                  MAX_ENTER_TIMEOUTS, verbose);
  } catch (const std::exception& e) {
    std::cout << e.what() << std::endl;
    if (!contains(e.what(), DELIMITER_TIMEOUT)) throw;
    throw std::runtime_error("young_enter_interactive: CANNOT ENTER INTERACTIVE");
  }
  std::cout << "WE'RE INTERACTIVE" << std::endl;
}

void young_exit_interactive(Serial& port, bool verbose) {
  interactive_tx(port, YOUNG_EXIT_KEY, verbose);
  const regex data_line(DATA_LINE_PATTERN);
  if (verbose) {
    std::cout << "young_exit_interactive: regex='" << DATA_LINE_PATTERN << "'" << std::endl;
  }
  std::array<char, MAX_LEAVE_CHARS> block;
  std::string buffer;
  while (buffer.size() < MAX_LEAVE_CHARS) {
    const int ready = interactive_wait_for_input(port, LEAVE_SECONDS);
    if (ready == -1) throw std::runtime_error(LEAVE_TERMINATED);
    const auto room = MAX_LEAVE_CHARS - static_cast<unsigned int>(buffer.size());
    const int n = ready == 0 ? 0 : port.read(block.data(), room);
    if (n == 0) {
      throw_if_terminated(LEAVE_TERMINATED);
      continue;
    }
    buffer.append(block.data(), static_cast<size_t>(n));
    if (verbose) std::cout << "young_exit_interactive: '" << buffer << "'" << std::endl;
    if (contains(buffer, STILL_IN_MENU)) {
      throw std::runtime_error("young_exit_interactive: unable to exit interactive mode");
    }
    if (data_line.is_match(buffer)) {
      if (verbose) std::cout << "young_exit_interactive: exit on regex match" << std::endl;
      return;
    }
  }
  if (verbose) std::cout << "young_exit_interactive: exit on max chars" << std::endl;
}

}  // namespace sonic
