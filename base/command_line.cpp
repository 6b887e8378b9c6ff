#include "base/command_line.h"

#include <getopt.h>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace sonic {

namespace {

constexpr int FAILURE = 1;
constexpr int WRONG_USAGE = 2;

constexpr int FIRST_LONG_OPTION = 256;  // above all characters, which are short options
constexpr const char* SHORT_OPTIONS = ":h";

constexpr const char* HELP_HEAD = "-h, --help";
constexpr const char* VERSION_HEAD = "--version";

std::string head_of(const Option& option) {
  return "--" + option.name + (option.argument.empty() ? "" : " " + option.argument);
}

// What getopt_long has not taken, and why.
std::string refusal(int found, const std::vector<option>& known, const char* last_argument) {
  const bool is_known = optopt >= FIRST_LONG_OPTION;
  const std::string name =
      is_known ? std::string("--") + known[static_cast<size_t>(optopt - FIRST_LONG_OPTION)].name
      : optopt != 0 ? std::string("-") + static_cast<char>(optopt)
                    : last_argument;
  if (found == ':') return name + ": needs a value";
  return name + (is_known ? ": takes no value" : ": no such option");
}

}  // namespace

std::function<void(const std::string&)> store(std::string& target) {
  return [&target](const std::string& value) { target = value; };
}

std::function<void(const std::string&)> store(bool& target) {
  return [&target](const std::string&) { target = true; };
}

std::optional<std::vector<std::string>> CommandLine::parse(int argc, char* const argv[]) const {
  std::vector<option> known;
  const auto add = [&known](const char* name, int has_argument) {
    const int id = FIRST_LONG_OPTION + static_cast<int>(known.size());
    known.push_back({name, has_argument, nullptr, id});
    return id;
  };
  for (const Option& o : options) {
    add(o.name.c_str(), o.argument.empty() ? no_argument : required_argument);
  }
  const int help_id = add("help", no_argument);
  const int version_id = add("version", no_argument);
  known.push_back({});

  optind = 0;  // start over, should this be a second call
  opterr = 0;
  for (int found = 0;
       (found = getopt_long(argc, argv, SHORT_OPTIONS, known.data(), nullptr)) != -1;) {
    if (found == ':' || found == '?') throw UsageError(refusal(found, known, argv[optind - 1]));
    if (found == 'h' || found == help_id) {
      std::cout << help();
      return std::nullopt;
    }
    if (found == version_id) {
      std::cout << program << " " << SONIC_VERSION << std::endl;
      return std::nullopt;
    }
    const Option& o = options[static_cast<size_t>(found - FIRST_LONG_OPTION)];
    try {
      o.set(optarg == nullptr ? "" : optarg);
    } catch (const std::invalid_argument& e) {
      throw UsageError("--" + o.name + ": " + e.what());
    }
  }
  return std::vector<std::string>(argv + optind, argv + argc);
}

std::string CommandLine::help() const {
  size_t width = std::string(HELP_HEAD).size();
  for (const Option& o : options) width = std::max(width, head_of(o).size());
  std::ostringstream text;
  const auto add = [&](std::string head, const std::string& lines) {
    std::istringstream all(lines);
    for (std::string line; std::getline(all, line); head.clear()) {
      text << "  " << std::left << std::setw(static_cast<int>(width)) << head << "  " << line
           << '\n';
    }
  };
  text << "Usage: " << program << " " << arguments << '\n' << about << '\n';
  for (const Option& o : options) add(head_of(o), o.help);
  add(HELP_HEAD, "print this help");
  add(VERSION_HEAD, "print the version");
  text << '\n' << notes;
  return text.str();
}

int run_program(const std::string& name, const std::function<int()>& work) {
  try {
    return work();
  } catch (const UsageError& e) {
    std::cerr << name << ": " << e.what() << "\nTry '" << name << " --help'." << std::endl;
    return WRONG_USAGE;
  } catch (const std::exception& e) {
    std::cerr << name << ": " << e.what() << std::endl;
    return FAILURE;
  }
}

}  // namespace sonic
