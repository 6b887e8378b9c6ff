#pragma once

#include <string>

#include "simulator/settings.h"
#include "simulator/wind.h"

namespace sonic::simulator {

/// In which the instrument is found: measuring, at its top menu, two levels below it, or dead.
enum class State { OPERATE, TOP, SUB, SILENT };

/// The instrument without its line: keys and samples in, text out. It has no clock.
class Instrument {
 public:
  /// `paging` breaks the pages of the single settings in two, as the short configuration always is.
  Instrument(const Settings& settings, State state, bool paging);

  /// Takes one key and returns what the instrument sends back: in operate mode nothing until the
  /// third escape in a row, in a menu the echo and then the page.
  std::string key(char c);

  /// Takes one sample and returns the line to be sent, without its end. Empty when none is due:
  /// while it averages, or when the sample has an error and errors are omitted.
  std::string measure(const Sample& sample);

  /// Operate mode, with the settings as they were.
  void power_up();

  bool operating() const { return _page == Page::OPERATE; }
  const Settings& settings() const { return _settings; }

  /// Mode and settings on one line, for people.
  std::string describe() const;

 private:
  enum class Page {
    SILENT,
    OPERATE,
    TOP,
    SETUP,
    BAUD,
    RATE,
    ERRORS,
    FORMAT,
    AVERAGING_PROMPT,
    FORMAT_PROMPT
  };
  struct SetupEntry {
    char key;
    Page page;
    const char* name;
  };

  std::string operate_key(char c);
  std::string menu_key(char key);
  std::string prompt_key(char key);
  void leave_page();
  void enter_typed();
  bool prompting() const;
  std::string show(std::string text);
  std::string page_text() const;
  std::string setting_page(const std::string& heading, const std::string& entries) const;
  std::string short_configuration() const;
  void forget_input();

  static const SetupEntry SETUP_ENTRIES[];

  Settings _settings;
  Page _page;
  bool _paging;
  unsigned int _chosen_baud;  // in force once the baud page is left
  int _escapes = 0;           // in a row
  std::string _typed;         // at a prompt, so far
  std::string _rest;          // of a page that waits for a key
  Sample _sum;                // of the samples being averaged
  unsigned int _summed = 0;
};

}  // namespace sonic::simulator
