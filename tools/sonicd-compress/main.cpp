#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <cstring>
#include <iostream>

#include "tools/files/child.h"
#include "tools/sonicd-compress/compress.h"

namespace sonic::compress {

namespace {

constexpr const char* HELP = R"(Usage: sonicd-compress FOLDER...
Compresses the finished half-hour files in the folders with zstd: each becomes
FILE.zst, which is verified and on the disk before the plain file is removed.
The newest file of each instrument, one that was written to in the last hour
and one that is open for writing are left alone.

Exit status: 0; 1 when a file or folder could not be worked on; 2 without one.
)";

/// Whether all went well; what did not is on standard error.
bool compress_folder(const std::string& folder) try {
  // Two at once would take each other's unfinished copies.
  const Descriptor lock(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (lock.get() == -1 || flock(lock.get(), LOCK_EX | LOCK_NB) == -1) {
    const int error = errno;  // printing may change it
    std::cerr << "sonicd-compress: " << folder << ": " << strerror(error) << std::endl;
    return false;
  }
  bool is_done = true;
  for (const auto& file : finished_files(folder)) {
    try {
      if (!compress_file(file)) std::cout << file.string() << ": is being written to" << std::endl;
    } catch (const std::runtime_error& error) {
      std::cerr << "sonicd-compress: " << error.what() << std::endl;
      is_done = false;
    }
  }
  return is_done;
} catch (const std::filesystem::filesystem_error& error) {
  std::cerr << "sonicd-compress: " << error.what() << std::endl;
  return false;
}

}  // namespace

}  // namespace sonic::compress

int main(int argc, char** argv) try {
  const bool is_help = argc > 1 && std::string(argv[1]) == "--help";
  if (argc < 2 || is_help || argv[1][0] == '-') {
    (is_help ? std::cout : std::cerr) << sonic::compress::HELP;
    return is_help ? 0 : 2;
  }
  int status = 0;
  for (int i = 1; i < argc; ++i) {
    if (!sonic::compress::compress_folder(argv[i])) status = 1;
  }
  return status;
} catch (const std::exception& error) {
  std::cerr << "sonicd-compress: " << error.what() << std::endl;
  return 1;
}
