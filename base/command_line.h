#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace sonic {

/// Why a command line is wrong, for the user.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// An option of a program.
struct Option {
  std::string name;      ///< without the leading "--"
  std::string argument;  ///< what the help calls its value; empty: it takes none
  std::string help;      ///< one line or several
  /// Takes the value. Throws std::invalid_argument for a wrong one, with a text that does not name
  /// the option.
  std::function<void(const std::string& value)> set;
};

/// Stores an option's value, or that the option was given.
std::function<void(const std::string&)> store(std::string& target);
std::function<void(const std::string&)> store(bool& target);

/// The command line of one of our programs other than the daemon: the options in this table, and
/// --help, -h and --version.
struct CommandLine {
  std::string program;
  std::string arguments;  ///< for the help: "[OPTION]... DEVICE"
  std::string about;      ///< what the program does, in whole lines
  std::vector<Option> options;
  std::string notes;  ///< what the help says after the options, in whole lines

  /// Sets the options and returns the other arguments. Returns nothing when help or version was
  /// asked for and has been printed. Throws UsageError.
  std::optional<std::vector<std::string>> parse(int argc, char* const argv[]) const;

  /// The text that --help prints.
  std::string help() const;
};

/// Runs a program. Returns its exit status: what `work` returns, 2 after a UsageError, 1 after any
/// other exception. Exceptions are reported on standard error.
int run_program(const std::string& name, const std::function<int()>& work);

}  // namespace sonic
