#include "cases.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <optional>
#include <vector>

#include "simulator/options.h"
#include "virtual_port.h"

namespace sonic {

namespace {

struct Case {
  std::string title;
  std::vector<Program> calls;
  Script script;
  bool echo = false;
  std::map<std::string, std::string> answers;  // by the last keys
  std::optional<simulator::Instrument> instrument;
  std::string expected;  // as it stands in the file
};

const std::pair<std::string, std::string> ESCAPES[] = {
    {R"(\t)", "\t"},     {R"(\r)", "\r"},
    {R"(\n)", "\n"},     {R"(\v)", "\v"},
    {R"(\f)", "\f"},     {R"(\e)", "\x1b"},
    {R"(\x01)", "\x01"}, {R"(\x07)", "\x07"},
    {R"(\x1f)", "\x1f"}, {R"(\x7f)", "\x7f"},
    {R"(\x80)", "\x80"}, {R"(\xa0)", "\xa0"},
    {R"(\xff)", "\xff"}, {R"(\0)", std::string(1, '\0')}};

const std::map<std::string, std::string> EVENTS = {{"interrupt", INTERRUPT},
                                                   {"signal", SIGNAL},
                                                   {"hang-up", HANG_UP},
                                                   {"full", FULL},
                                                   {"failure", FAILURE}};

// Names that are others each time, from a start to an end.
const std::pair<std::string, std::string> NAMES[] = {{"/dev/pts/", " "},
                                                     {"MQTTPublisher: this=", "\n"}};

constexpr size_t LONG_RUN = 10;  // of x, shown as x{10}

void replace_all(std::string& text, const std::string& old, const std::string& by) {
  for (size_t at = 0; (at = text.find(old, at)) != std::string::npos; at += by.size()) {
    text.replace(at, old.size(), by);
  }
}

// The bytes that are meant.
std::string bytes(std::string text) {
  for (const auto& [escape, byte] : ESCAPES) replace_all(text, escape, byte);
  for (size_t at = 0; (at = text.find("x{", at)) != std::string::npos;) {
    const size_t end = text.find('}', at);
    text.replace(at, end + 1 - at, std::stoul(text.substr(at + 2)), 'x');
  }
  return text;
}

// Without the spaces at its end.
std::string expected_line(const std::string& line) {
  return line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
}

// A transcript as it stands in a file.
std::string lines(std::string seen) {
  for (const auto& [escape, byte] : ESCAPES) {
    if (byte != "\n") replace_all(seen, byte, escape);
  }
  const std::string run(LONG_RUN, 'x');
  for (size_t at = 0; (at = seen.find(run, at)) != std::string::npos;) {
    const size_t end = std::min(seen.find_first_not_of('x', at), seen.size());
    seen.replace(at, end - at, "x{" + std::to_string(end - at) + "}");
  }
  for (const auto& [start, end] : NAMES) seen = without(seen, start, end);
  std::istringstream all(seen);
  std::string text;
  for (std::string line; std::getline(all, line);) text += expected_line("> " + line);
  return text;
}

// What stands between the next quotes, else the rest of the line.
std::string next_text(std::istream& line) {
  std::string text;
  if ((line >> std::ws).peek() == '"') {
    std::getline(line.ignore(), text, '"');
  } else {
    std::getline(line, text);
  }
  return bytes(text);
}

simulator::Instrument instrument(std::istream& line) {
  std::vector<std::string> words{"instrument"};
  for (std::string word; line >> word;) words.push_back(word);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const auto options =
      simulator::parse_options(static_cast<int>(words.size()), arguments.data()).value();
  return {options.settings, options.state, options.paging};
}

void read_line(const std::string& text, const Calls& calls, Case& c) {
  std::istringstream line(text);
  std::string word;
  line >> word;
  if (word == "call" || word == "trace") {
    line >> word;
    const bool verbose = text[0] == 't';
    c.calls.push_back([call = calls.at(word), argument = next_text(line), verbose](Serial& port) {
      call(port, argument, verbose);
    });
  } else if (word == "echo") {
    c.echo = true;
  } else if (word == "answer") {
    const std::string keys = next_text(line);
    c.answers[keys] = next_text(line);
  } else if (word == "instrument") {
    c.instrument = instrument(line);
  } else if (word == ">") {
    c.expected += expected_line(text);
  } else {
    const int moment = std::stoi(word);
    const bool is_event = (line >> std::ws).peek() != '"';
    const std::string what = next_text(line);
    c.script.emplace_back(moment, is_event ? EVENTS.at(what) : what);
  }
}

// What comes back for a key. `keys` are those before it. The simulated instrument shows data as
// soon as it has left its menu.
std::string answer(Case& c, std::string& keys, char key) {
  if (c.instrument) {
    const bool was_operating = c.instrument->operating();
    const std::string page = c.instrument->key(key);
    return c.instrument->operating() && !was_operating ? page + "  1.23 -0.45 0.07 " : page;
  }
  keys += key;
  std::string echoed = c.echo ? std::string(1, key) : "";
  for (size_t at = 0; at <= keys.size(); ++at) {
    const auto found = c.answers.find(keys.substr(at));
    if (found != c.answers.end()) return echoed + found->second;
  }
  return echoed;
}

void play(Case& c) {
  std::string keys;
  const auto program = [&](Serial& port) {
    for (const Program& call : c.calls) call(port);
  };
  const auto answers = [&](char key) { return answer(c, keys, key); };
  const std::string seen = lines(transcript(c.script, program, answers));
  EXPECT_EQ(c.expected, seen) << "== " << c.title << "\n" << seen;
}

}  // namespace

void play(const std::string& file, const Calls& calls) {
  std::ifstream text(TESTS "/cases/" + file + ".cases");
  std::vector<Case> cases;
  for (std::string line; std::getline(text, line);) {
    if (line.rfind("== ", 0) == 0) {
      cases.emplace_back().title = line.substr(3);
    } else if (!line.empty() && line[0] != '#') {
      const auto read = [&] { read_line(line, calls, cases.at(cases.size() - 1)); };
      ASSERT_EQ("nothing thrown", thrown_by(read))
          << file << " has a line without meaning: " << line;
    }
  }
  EXPECT_FALSE(cases.empty()) << file;
  for (Case& c : cases) play(c);
}

}  // namespace sonic
