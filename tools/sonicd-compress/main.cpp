#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "base/command_line.h"
#include "base/error.h"
#include "tools/sonicd-compress/child.h"
#include "tools/sonicd-compress/compress.h"

namespace sonic::compress {

namespace {

constexpr const char* PROGRAM = "sonicd-compress";

constexpr const char* ABOUT =
    R"(Compresses the finished data files in the folders with zstd: each becomes
FILE.zst, which is verified and on the disk before the plain file is removed.
The newest file of each instrument, one that was written to in the last hour
and one that is open for writing are left alone.
)";

constexpr const char* NOTES =
    R"(Exit status: 0; 1 when a file or folder could not be processed; 2 for a wrong
command line.
)";

void complain(const std::string& text) { std::cerr << PROGRAM << ": " << text << std::endl; }

void report_left(const std::filesystem::path& file, const std::string& why) {
  if (!why.empty()) std::cout << file.string() << ": left as it is, " << why << std::endl;
}

// Ends with its parent.
[[noreturn]] void work_as_child(const std::filesystem::path& file, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(EXIT_FAILURE);
  std::signal(SIGIO, SIG_DFL);
  int status = EXIT_SUCCESS;
  try {
    report_left(file, compress_file(file));
  } catch (const std::runtime_error& error) {
    complain(error.what());
    status = EXIT_FAILURE;
  }
  _exit(status);
}

// The kernel ends who works on a file as soon as another program opens it for writing: that must
// not be the end of all the work.
bool compress_in_child(const std::filesystem::path& file) {
  const pid_t parent = getpid();
  const pid_t pid = fork();
  if (pid == -1) throw_error(errno, {"cannot start a process: "});
  if (pid == 0) work_as_child(file, parent);
  const int status = Child(pid).wait();
  if (!WIFSIGNALED(status)) return status == EXIT_SUCCESS;
  if (WTERMSIG(status) == SIGIO) {
    report_left(file, IN_USE);
    return true;
  }
  complain(file.string() + ": " + strsignal(WTERMSIG(status)));
  return false;
}

// Whether all went well; what did not is on standard error.
bool compress_folder(const std::string& folder) try {
  remove_unfinished_copies(folder);
  bool is_done = true;
  for (const auto& file : finished_files(folder)) is_done = compress_in_child(file) && is_done;
  return is_done;
} catch (const std::filesystem::filesystem_error& error) {
  complain(error.path1().string() + ": " + error.code().message());
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
