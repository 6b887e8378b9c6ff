#include "tools/files/input.h"

#include <fcntl.h>
#include <spawn.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "base/error.h"

namespace sonic {

namespace {

using namespace std::string_view_literals;

struct Compression {
  std::string_view begins;  // what each such file begins with
  const char* program;
};
constexpr Compression COMPRESSIONS[] = {
    {"\x1f\x8b"sv, "gzip"},
    {"\x28\xb5\x2f\xfd"sv, "zstd"},
    {"\xfd\x37zXZ\0"sv, "xz"},
};
constexpr size_t MAX_BEGINNING_BYTES = 6;
constexpr int PIPE_BYTES = 1 << 20;  // fewer changes between the two processes
constexpr size_t BLOCK_BYTES = 1 << 16;

[[noreturn]] void fail(int error, std::string_view what = "") {
  throw InputError(error_text(error, {what}));
}

Descriptor open_input(const std::string& path) {
  Descriptor input(path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                               : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!input.is_open()) fail(errno);
  return input;
}

struct PipeEnds {
  PipeEnds() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) == -1) fail(errno, "pipe: ");
    out = Descriptor(ends[0]);
    in = Descriptor(ends[1]);
  }
  Descriptor out, in;
};

size_t read_some(int descriptor, char* bytes, size_t size) {
  ssize_t n = 0;
  do {
    n = ::read(descriptor, bytes, size);
  } while (n == -1 && errno == EINTR);
  if (n == -1) fail(errno);
  return static_cast<size_t>(n);
}

bool write_all(int descriptor, const char* bytes, size_t size) {
  while (size > 0) {
    const ssize_t n = ::write(descriptor, bytes, size);
    if (n == -1) return false;
    bytes += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

// Copies `ahead` and then all of `from` to the pipe, in a process of its own.
pid_t feed(const std::string& ahead, int from, const PipeEnds& fed) {
  const pid_t child = fork();
  if (child == -1) fail(errno, "fork: ");
  if (child != 0) return child;
  close(fed.out.get());  // or it would wait for ever when there is no other reader
  const int to = fed.in.get();
  char block[BLOCK_BYTES];
  bool is_written = write_all(to, ahead.data(), ahead.size());
  for (ssize_t n = 0; is_written && (n = ::read(from, block, BLOCK_BYTES)) > 0;) {
    is_written = write_all(to, block, static_cast<size_t>(n));
  }
  _exit(0);
}

}  // namespace

Input::Input(const std::string& path) : _descriptor(open_input(path)) {
  while (_ahead.size() < MAX_BEGINNING_BYTES) {
    char bytes[MAX_BEGINNING_BYTES];
    const size_t n = read_some(_descriptor.get(), bytes, MAX_BEGINNING_BYTES - _ahead.size());
    if (n == 0) break;
    _ahead.append(bytes, n);
  }
  const auto* const found = std::find_if(
      std::begin(COMPRESSIONS), std::end(COMPRESSIONS),
      [&](const Compression& c) { return _ahead.compare(0, c.begins.size(), c.begins) == 0; });
  if (found != std::end(COMPRESSIONS)) decompress(found->program);
}

void Input::decompress(const char* program) {
  // A file is given to the program from its beginning. A pipe cannot be rewound.
  if (lseek(_descriptor.get(), -static_cast<off_t>(_ahead.size()), SEEK_CUR) == -1) {
    PipeEnds fed;
    _feeder = Child(feed(_ahead, _descriptor.get(), fed));
    _descriptor = std::move(fed.out);
  }
  _ahead.clear();

  PipeEnds plain;
  fcntl(plain.out.get(), F_SETPIPE_SZ, PIPE_BYTES);  // when refused it is slower, and just as right
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, _descriptor.get(), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, plain.in.get(), STDOUT_FILENO);
  std::string name = program;
  std::string options = "-dcq";
  char* const arguments[] = {name.data(), options.data(), nullptr};
  pid_t pid = -1;
  const int error = posix_spawnp(&pid, program, &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw InputError(error_text(error, {name, ": "}));
  _program = program;
  _decompressor = Child(pid);
  _descriptor = std::move(plain.out);
}

size_t Input::read(char* bytes, size_t size) {
  if (!_ahead.empty()) {
    const size_t n = std::min(size, _ahead.size());
    _ahead.copy(bytes, n);
    _ahead.erase(0, n);
    return n;
  }
  const size_t n = read_some(_descriptor.get(), bytes, size);
  if (n == 0 && _decompressor.is_there() && _decompressor.wait() != 0) {
    throw InputError(std::string(_program) + " cannot decompress it");
  }
  return n;
}

Comparison compare_contents(const std::string& first, const std::string& second, WhenCut when_cut) {
  Input inputs[] = {Input(first), Input(second)};
  std::string blocks[2];
  for (;;) {
    for (size_t i = 0; i < 2; ++i) {
      if (!blocks[i].empty()) continue;
      blocks[i].resize(BLOCK_BYTES);
      try {
        blocks[i].resize(inputs[i].read(blocks[i].data(), BLOCK_BYTES));
      } catch (const InputError&) {
        if (when_cut == WhenCut::THROW) throw;
        blocks[i].clear();
      }
    }
    if (blocks[0].empty() && blocks[1].empty()) return Comparison::SAME;
    if (blocks[0].empty()) return Comparison::FIRST_BEGINS_SECOND;
    if (blocks[1].empty()) return Comparison::SECOND_BEGINS_FIRST;
    const size_t n = std::min(blocks[0].size(), blocks[1].size());
    if (blocks[0].compare(0, n, blocks[1], 0, n) != 0) return Comparison::DIFFERENT;
    for (std::string& block : blocks) block.erase(0, n);
  }
}

}  // namespace sonic
