// What is said on the line: the dialogue, detection of the rate, the menu and its settings.

#include "young/dialogue.h"

#include <gtest/gtest.h>

#include <iterator>

#include "records/young_81000_record.h"
#include "tests/cases.h"
#include "tests/virtual_port.h"
#include "young/baud_detection.h"
#include "young/young_81000_menu.h"
#include "young/young_81000_settings.h"

namespace sonic {

namespace {

template <typename Action>
Call run(Action action) {
  return [=](Serial& port, const std::string&, bool verbose) { action(port, verbose); };
}

template <typename Getter>
Call get(Getter getter) {
  return run([=](Serial& port, bool verbose) { print(getter(port, verbose)); });
}

template <typename Setter>
Call set_number(Setter setter) {
  return [=](Serial& port, const std::string& number, bool verbose) {
    setter(port, static_cast<unsigned int>(std::stoul(number)), verbose);
  };
}

std::string version(Serial& port, bool verbose) {
  return young_81000_get_firmware_version(young_81000_get_info(port, verbose));
}

// At these rates, else at all.
void detect(Serial& port, const std::string& rates, bool verbose) {
  std::istringstream words(rates);
  const std::vector<unsigned int> given(std::istream_iterator<unsigned int>(words), {});
  PrintingNotifier notifier;
  young_81000_auto_baud(notifier, given.empty() ? allowed_baud_rates : given, port,
                        young_81000_extractor, autobaud_match_strings, verbose);
}

bool recognise(const std::string& reply, bool verbose) {
  return young_81000_auto_baud_check(reply, young_81000_extractor, autobaud_match_strings, verbose);
}

std::string listen(Serial& port, bool verbose) {
  PrintingNotifier notifier;
  return young_81000_auto_baud_read(notifier, port, verbose);
}

const Calls CALLS = {
    {"send", interactive_tx_ncr},
    {"send_cr", interactive_tx},
    {"send_cr_lf", interactive_tx_wm},
    {"slow_write",
     [](Serial& port, const std::string& text, bool) { interactive_slow_write(port, text); }},
    {"receive",  // until two seconds of silence
     get([](Serial& port, bool verbose) { return interactive_rx(port, 2, 100, verbose); })},
    {"transfer", [](Serial& port, const std::string& text,
                    bool verbose) { print(interactive_transfer(port, text, verbose)); }},
    {"transfer_wm", [](Serial& port, const std::string& text,
                       bool verbose) { print(interactive_transfer_wm(port, text, verbose)); }},
    {"search",  // for two seconds, three times
     [](Serial& port, const std::string& text, bool verbose) {
       interactive_read_to_delimiter(port, text, 1000, 2, 3, verbose);
     }},
    {"enter", run(young_enter_interactive)},
    {"leave", run(young_exit_interactive)},
    {"page",  // until two seconds of silence, 50 characters at a time
     get([](Serial& port, bool verbose) { return young_interactive_rx(port, 2, 50, verbose); })},
    {"press", [](Serial& port, const std::string& key,
                 bool verbose) { print(young_81000_press(port, key, verbose)); }},
    {"get_info", get(young_81000_get_info)},
    {"get_version", get(version)},
    {"get_baud_rate", get(young_81000_get_baud_rate)},
    {"set_baud_rate", set_number(young_81000_set_baud_rate)},
    {"get_output_rate", get(young_81000_get_output_rate)},
    {"set_output_rate", set_number(young_81000_set_output_rate)},
    {"get_averaging", get(young_81000_get_averaging)},
    {"set_averaging", set_number(young_81000_set_averaging)},
    {"get_output_format", get(young_81000_get_output_format)},
    {"set_output_format", run(young_81000_set_output_format)},
    {"set_error_handling", young_81000_set_error_handling},
    {"detect", detect},
    {"listen", get(listen)},
    {"recognise",
     [](Serial&, const std::string& reply, bool verbose) { print(recognise(reply, verbose)); }},
    {"write", young_81000_auto_baud_write},
};

const bool CASES[] = {
    add_cases("Dialogue", "dialogue", CALLS),
    add_cases("Menu", "menu", CALLS),
    add_cases("Settings", "settings", CALLS),
    add_cases("Detection", "detection", CALLS),
};

}  // namespace

TEST(DialogueTest, DetectionIsInterruptedAtAnyMomentWithinTheNextWait) {
  for (int moment = 0; moment < 74'000; moment += 100) {
    const auto detect_all = [](Serial& port) { detect(port, "", false); };
    const std::string seen = transcript({{moment, INTERRUPT}}, detect_all);
    EXPECT_NE(std::string::npos, seen.find("! autobaud: terminated by user\n"));
    EXPECT_LE(end_of_transcript, moment + 4500) << seen;
  }
}

}  // namespace sonic
