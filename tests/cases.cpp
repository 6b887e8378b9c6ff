#include "tests/cases.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <optional>
#include <vector>

#include "simulator/options.h"
#include "tests/virtual_port.h"

namespace sonic {

namespace {

struct Case {
  std::vector<Program> calls{};
  Script script{};
  bool echo = false;
  std::map<std::string, std::string> answers{};  // by the last keys
  std::optional<simulator::Instrument> instrument{};
  std::string expected{};  // as it is in the file
};

constexpr size_t ROW_BYTES = 16;  // of a dump

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

// The rows of dumps are left out: "17 bytes" says that there was one.
void fold_dumps(std::string& seen) {
  const std::string end = " bytes\n";
  for (size_t at = 0; (at = seen.find(end, at)) != std::string::npos;) {
    const size_t digits = seen.find_last_not_of("0123456789", at - 1) + 1;
    size_t rows = (std::stoul(seen.substr(digits, at - digits)) + ROW_BYTES - 1) / ROW_BYTES;
    at += end.size();
    for (; rows > 0; --rows) seen.erase(at, seen.find('\n', at) + 1 - at);
  }
}

// Each run of a fold becomes "{NAME}x13", or "{NAME}" where it has no other beside it.
void fold(std::string& seen, const std::string& name, const std::string& text) {
  const std::string mark = "{" + name + "}";
  for (size_t at = 0; (at = seen.find(text, at)) != std::string::npos; at += mark.size()) {
    size_t count = 0;
    while (seen.compare(at + count * text.size(), text.size(), text) == 0) ++count;
    const std::string times = count > 1 ? "x" + std::to_string(count) + " " : "";
    seen.replace(at, count * text.size(), mark + times);
  }
}

// A transcript as it is in a file.
std::string lines(std::string seen, const std::vector<std::string>& folds) {
  for (const auto& [escape, byte] : ESCAPES) {
    if (byte != "\n") replace_all(seen, byte, escape);
  }
  const std::string run(LONG_RUN, 'x');
  for (size_t at = 0; (at = seen.find(run, at)) != std::string::npos;) {
    const size_t end = std::min(seen.find_first_not_of('x', at), seen.size());
    seen.replace(at, end - at, "x{" + std::to_string(end - at) + "}");
  }
  for (const auto& [start, end] : NAMES) seen = without(seen, start, end);
  for (const std::string& line : folds) {
    std::istringstream words(line);
    std::string name;
    words >> name >> name >> std::ws;
    std::string text;
    std::getline(words, text);
    replace_all(text, "\\n", "\n");
    if (name == "dumps") {
      fold_dumps(seen);
    } else {
      fold(seen, name, text.substr(1, text.size() - 2));
    }
  }
  std::istringstream all(seen);
  std::string text;
  for (std::string line; std::getline(all, line);) text += expected_line("> " + line);
  return text;
}

// The text between the next quotes, else the rest of the line.
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
    const bool verbose = word == "trace";
    line >> word;
    c.calls.push_back([=, call = calls.at(word), argument = next_text(line)](Serial& port) {
      const std::string outcome = thrown_by([&] { call(port, argument, verbose); });
      if (outcome != NOTHING_THROWN) std::cout << "! " << outcome << std::endl;
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

// The answer to a key. `keys` are those before it. The simulated instrument shows data as
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

// "A rate is read" as "ARateIsRead".
std::string name_of(const std::string& title) {
  std::string name;
  bool is_first = true;
  for (const char c : title) {
    const bool is_in_word = std::isalnum(static_cast<unsigned char>(c)) != 0;
    if (is_in_word) name += is_first ? static_cast<char>(std::toupper(c)) : c;
    if (is_in_word || c == ' ') is_first = !is_in_word;
  }
  return name;
}

}  // namespace

// What other files initialise may not be there yet.
std::vector<CaseText> read_cases(const std::string& name) {
  const std::string path = std::string(TESTS "/cases/") + name + ".cases";
  std::ifstream file(path);
  std::vector<CaseText> cases;
  std::vector<std::string> folds;
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    if (line.rfind("== ", 0) == 0) {
      const std::string title = line.substr(3);
      cases.push_back({path, number, title, name_of(title), {}, folds});
    } else if (line.rfind("fold ", 0) == 0) {
      folds.push_back(line);
    } else if (!line.empty() && line[0] != '#') {
      cases.at(cases.size() - 1).lines.push_back(line);
    }
  }
  if (cases.empty()) throw std::runtime_error(path + ": no cases");
  return cases;
}

void play(const CaseText& text, const Calls& calls) {
  Case c;
  for (const std::string& line : text.lines) {
    const auto read = [&] { read_line(line, calls, c); };
    ASSERT_EQ(NOTHING_THROWN, thrown_by(read)) << "a line without meaning: " << line;
  }
  std::string keys;
  const auto program = [&](Serial& port) {
    for (const Program& call : c.calls) call(port);
  };
  const auto answers = [&](char key) { return answer(c, keys, key); };
  const std::string seen = lines(transcript(c.script, program, answers), text.folds);
  EXPECT_EQ(c.expected, seen) << "== " << text.title << "\n" << seen;
}

}  // namespace sonic
