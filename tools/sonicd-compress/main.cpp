#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <iostream>

#include "base/command_line.h"
#include "base/descriptor.h"
#include "base/error.h"
#include "tools/sonicd-compress/compress.h"

namespace sonic::compress {

namespace {

constexpr const char* PROGRAM = "sonicd-compress";

constexpr const char* ABOUT =
    R"(Compresses the finished half-hour files in the folders with zstd: each becomes
FILE.zst, which is verified and on the disk before the plain file is removed.
The newest file of each instrument, one that was written to in the last hour
and one that is open for writing are left alone.
)";

constexpr const char* NOTES =
    R"(Exit status: 0; 1 when a file or folder could not be worked on; 2 for a wrong
command line.
)";

void complain(const std::string& text) { std::cerr << PROGRAM << ": " << text << std::endl; }

// Whether all went well; what did not is on standard error.
bool compress_folder(const std::string& folder) try {
  // Two at once would take each other's unfinished copies.
  const Descriptor lock(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!lock.is_open() || flock(lock.get(), LOCK_EX | LOCK_NB) == -1) {
    complain(error_text(errno, {folder, ": "}));
    return false;
  }
  bool is_done = true;
  for (const auto& file : finished_files(folder)) {
    try {
      if (!compress_file(file)) std::cout << file.string() << ": is being written to" << std::endl;
    } catch (const std::runtime_error& error) {
      complain(error.what());
      is_done = false;
    }
  }
  return is_done;
} catch (const std::filesystem::filesystem_error& error) {
  complain(error.what());
  return false;
}

int run(int argc, char* argv[]) {
  const CommandLine command_line = {PROGRAM, "FOLDER...", ABOUT, {}, NOTES};
  const auto folders = command_line.parse(argc, argv);
  if (!folders) return 0;
  if (folders->empty()) throw UsageError("which FOLDER?");
  int status = 0;
  for (const std::string& folder : *folders) {
    if (!compress_folder(folder)) status = 1;
  }
  return status;
}

}  // namespace

}  // namespace sonic::compress

int main(int argc, char* argv[]) {
  using namespace sonic::compress;
  return sonic::run_program(PROGRAM, [&] { return run(argc, argv); });
}
