#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "mqtt/notifier.h"
#include "serial/serial.h"
#include "tests/support.h"

namespace sonic {

/// A port with a script at its other end, on a clock that only the program's own waiting moves on:
/// a minute of dialogue costs nothing, and every pause is seen. What is done, what must be seen:
///
///   const auto receive = [](Serial& port) { interactive_rx(port, 1, 80, false); };
///   EXPECT_EQ("[900ms] [1000ms] ", transcript({{900, "late"}}, receive));

/// What the instrument sends, each piece at its moment in milliseconds since the start.
using Script = std::vector<std::pair<int, std::string>>;

/// Instead of bytes. At the moment of bytes before it, an interruption happens just before they are
/// read; at moment 0, before anything; else it ends the wait that it falls into.
constexpr const char* INTERRUPT = "\x01 interrupt";
constexpr const char* SIGNAL = "\x01 signal";  // another one, which asks for nothing
constexpr const char* HANG_UP = "\x01 hang-up";
constexpr const char* FULL = "\x01 full";        // the next write takes nothing
constexpr const char* FAILURE = "\x01 failure";  // the next wait fails

using Program = std::function<void(Serial& port)>;
/// What the instrument sends back at once for a key.
using Answer = std::function<std::string(char key)>;

/// What happens while `program` uses the port: all that it prints, and in its place among that
///   X <CR> <ESC>  a key that it sends; a single write is a single word
///   ~             unread input discarded
///   250ms         a pause
///   [1000ms]      a wait for input, unless it was there already
/// At the end "! " and what it throws, and how many bytes it has left unread.
std::string transcript(const Script& script, const Program& program, const Answer& answer = {});

/// When the last transcript ended, in milliseconds since its start.
extern int end_of_transcript;

/// Prints what is notified.
class PrintingNotifier : public Notifier {
 public:
  void notify(const std::string& text) override { std::cout << "=> " << text << std::endl; }
  void notified(bool value) override { std::cout << "=> notified " << value << std::endl; }
};

}  // namespace sonic
