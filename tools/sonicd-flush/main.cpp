// Bounds what a power cut costs. The daemon leaves it to the kernel when its lines go to the disk,
// and the kernel takes half a minute and more.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include "base/command_line.h"
#include "base/descriptor.h"
#include "base/error.h"
#include "tools/sonicd-flush/written_files.h"

namespace sonic::flush {

namespace {

constexpr const char* PROGRAM = "sonicd-flush";

constexpr int DEFAULT_SECONDS = 3;
constexpr int MAX_SECONDS = 3600;

constexpr const char* ABOUT =
    R"(Makes the kernel write the data files in the folders HOME/device* to the disk while
sonicd appends to them, so that a power cut costs a few seconds of records.
)";

constexpr const char* NOTES =
    R"(Runs until a signal ends it.

Exit status: 1 when HOME cannot be read; 2 for a wrong command line. A file that
cannot be written to the disk is reported once.
)";

int seconds(const std::string& text) {
  int value = 0;
  const char* end = text.data() + text.size();
  if (std::from_chars(text.data(), end, value).ptr != end || value < 1 || value > MAX_SECONDS) {
    throw std::invalid_argument("'" + text + "' is not a whole number from 1 to " +
                                std::to_string(MAX_SECONDS));
  }
  return value;
}

// Writes files and folders to the disk. Complains once of each that fails, until it works again.
class Disk {
 public:
  void write_out(const std::filesystem::path& path) {
    const int error = flushed(path);
    if (error == 0) {
      _failing.erase(path);
    } else if (_failing.insert(path).second) {
      std::cerr << PROGRAM << ": " << error_text(error, {path.native(), ": "}) << std::endl;
    }
  }

 private:
  // 0 or errno. A file that is gone has been compressed or fetched meanwhile, by a program that saw
  // to it. What is not a file, such as a link, is nothing of the daemon's.
  static int flushed(const std::filesystem::path& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (file.is_open() && fdatasync(file.get()) == 0) return 0;
    return errno == ENOENT || errno == ELOOP || errno == EINVAL || errno == ENXIO ? 0 : errno;
  }

  std::set<std::filesystem::path> _failing;
};

int run(int argc, char* argv[]) {
  int pause = DEFAULT_SECONDS;
  const CommandLine command_line = {
      PROGRAM,
      "[OPTION]... HOME",
      ABOUT,
      {{"seconds", "N",
        "how long records may wait for the disk, 1 to " + std::to_string(MAX_SECONDS) +
            " (default " + std::to_string(DEFAULT_SECONDS) + ")",
        [&pause](const std::string& value) { pause = seconds(value); }}},
      NOTES};
  const auto homes = command_line.parse(argc, argv);
  if (!homes) return 0;
  if (homes->size() != 1) throw UsageError(homes->empty() ? "which HOME?" : "only one HOME");

  WrittenFiles files(homes->front());
  Disk disk;
  for (auto next = std::chrono::steady_clock::now();;) {
    // A slow disk does not delay the next time.
    next = std::max(next + std::chrono::seconds(pause), std::chrono::steady_clock::now());
    std::this_thread::sleep_until(next);
    for (const auto& path : files.take()) disk.write_out(path);
  }
}

}  // namespace

}  // namespace sonic::flush

int main(int argc, char* argv[]) {
  using namespace sonic::flush;
  return sonic::run_program(PROGRAM, [&] { return run(argc, argv); });
}
