// Bounds what a power cut costs. The daemon leaves it to the kernel when its lines go to the disk,
// which on ext4 is half a minute later and more. This has the files written out that the daemon
// writes to, every few seconds.
#include <fcntl.h>
#include <getopt.h>

#include <cerrno>
#include <chrono>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "sonicd_flush/written_files.h"

namespace sonic {

namespace {

constexpr int FAILURE = 1, BAD_OPTION = 2;
constexpr int DEFAULT_SECONDS = 3, MAX_SECONDS = 3600;

constexpr const char* HELP = R"(Usage: sonicd-flush [OPTION]... HOME
Has the data files in the folders HOME/device* written to the disk while sonicd
writes to them, so that a power cut costs no more than a few seconds of records.

  -s, --seconds N  how long a record may wait, 1 to 3600 (default 3)
  -h, --help       print this and end
  -V, --version    print the version and end

Exit status: 1 when something could not be watched or written; 2 on a bad option.
)";

/// One that is gone has been compressed or fetched meanwhile, by somebody who saw to it.
void write_out(const std::filesystem::path& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
  if (file.get() == -1 && errno == ENOENT) return;
  if (file.get() == -1 || fdatasync(file.get()) == -1) {
    throw std::system_error(errno, std::generic_category(), path.string());
  }
}

[[noreturn]] void write_out_what_is_written(WrittenFiles files, std::chrono::seconds pause) {
  for (;;) {
    files.wait();
    std::this_thread::sleep_for(pause);
    for (const auto& path : files.take()) write_out(path);
  }
}

int seconds(const std::string& text) {
  const bool is_number = !text.empty() && text.size() <= std::to_string(MAX_SECONDS).size() &&
                         text.find_first_not_of("0123456789") == std::string::npos;
  const int value = is_number ? std::stoi(text) : 0;
  if (value < 1 || value > MAX_SECONDS) {
    throw std::invalid_argument("'" + text + "' is not a whole number from 1 to 3600");
  }
  return value;
}

int run(int argc, char** argv) {
  const option options[] = {{"seconds", required_argument, nullptr, 's'},
                            {"help", no_argument, nullptr, 'h'},
                            {"version", no_argument, nullptr, 'V'},
                            {}};
  int pause = DEFAULT_SECONDS;
  for (int found = 0; (found = getopt_long(argc, argv, "s:hV", options, nullptr)) != -1;) {
    switch (found) {
      case 's':
        pause = seconds(optarg);
        break;
      case 'h':
        std::cout << HELP;
        return 0;
      case 'V':
        std::cout << "sonicd-flush " << SONIC_VERSION << std::endl;
        return 0;
      default:  // getopt_long has said why
        throw std::invalid_argument("");
    }
  }
  if (optind + 1 != argc) throw std::invalid_argument("one HOME is needed");
  write_out_what_is_written(WrittenFiles(argv[optind]), std::chrono::seconds(pause));
}

}  // namespace

}  // namespace sonic

int main(int argc, char** argv) try {
  return sonic::run(argc, argv);
} catch (const std::invalid_argument& error) {
  if (*error.what() != '\0') std::cerr << "sonicd-flush: " << error.what() << '\n';
  std::cerr << "Try 'sonicd-flush --help'.\n";
  return sonic::BAD_OPTION;
} catch (const std::exception& error) {
  std::cerr << "sonicd-flush: " << error.what() << std::endl;
  return sonic::FAILURE;
}
