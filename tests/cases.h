#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "serial/serial.h"

namespace sonic {

/// What a case may call: `argument` is the text after the name.
using Call = std::function<void(Serial& port, const std::string& argument, bool verbose)>;
using Calls = std::map<std::string, Call>;

/// Shows what a call returns.
template <typename Value>
void print(const Value& value) {
  std::cout << "= '" << value << "'" << std::endl;
}

/// Shows what a function makes of a text.
template <typename Function>
Call shown(Function of) {
  return [=](Serial&, const std::string& text, bool) { print(of(text)); };
}

/// A case from its file in tests/cases. README.md there explains how to write one.
struct CaseText {
  std::string file;  ///< path
  int line = 0;      ///< of its title
  std::string title;
  std::string name{};  ///< the title in letters and digits: "ARateIsRead"
  std::vector<std::string> lines{};
  std::vector<std::string> folds{};  ///< those of its file
};

std::vector<CaseText> read_cases(const std::string& name);

/// Plays a case. It is a failure when anything else is seen than it says.
void play(const CaseText& text, const Calls& calls);

/// Makes each case of a file a test SUITE.TitleOfTheCase. To be called before main().
template <typename Fixture = testing::Test>
bool add_cases(const char* suite, const std::string& file, const Calls& calls) {
  class CaseTest : public Fixture {
   public:
    CaseTest(CaseText text, Calls calls) : _text(std::move(text)), _calls(std::move(calls)) {}
    void TestBody() override { play(_text, _calls); }

   private:
    const CaseText _text;
    const Calls _calls;
  };
  for (const CaseText& text : read_cases(file)) {
    testing::RegisterTest(suite, text.name.c_str(), nullptr, nullptr, text.file.c_str(), text.line,
                          [text, calls]() -> Fixture* { return new CaseTest(text, calls); });
  }
  return true;
}

}  // namespace sonic
