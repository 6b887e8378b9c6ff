#include "tools/files/input.h"

#include <archive.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "base/error.h"

namespace sonic {

namespace {

using namespace std::string_view_literals;

// What a compressed file begins with: gzip, zstd, xz.
constexpr std::string_view COMPRESSED[] = {"\x1f\x8b"sv, "\x28\xb5\x2f\xfd"sv, "\xfd\x37zXZ\0"sv};
constexpr size_t MAX_BEGINNING_BYTES = 6;
constexpr size_t BLOCK_BYTES = 1 << 16;

[[noreturn]] void fail(int error) { throw InputError(error_text(error, {})); }

[[noreturn]] void fail(archive* decompressor) {
  throw InputError(std::string("cannot be decompressed: ") + archive_error_string(decompressor));
}

Descriptor open_input(const std::string& path) {
  Descriptor input(path == STANDARD_INPUT ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                          : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!input.is_open()) fail(errno);
  return input;
}

size_t read_some(int descriptor, char* bytes, size_t size) {
  ssize_t n = 0;
  do {
    n = ::read(descriptor, bytes, size);
  } while (n == -1 && errno == EINTR);
  if (n == -1) fail(errno);
  return static_cast<size_t>(n);
}

}  // namespace

Input::Input(const std::string& path)
    : _descriptor(open_input(path)), _decompressor(nullptr, archive_read_free) {
  while (_ahead.size() < MAX_BEGINNING_BYTES) {
    char bytes[MAX_BEGINNING_BYTES];
    const size_t n = read_some(_descriptor.get(), bytes, MAX_BEGINNING_BYTES - _ahead.size());
    if (n == 0) break;
    _ahead.append(bytes, n);
  }
  const bool is_compressed =
      std::any_of(std::begin(COMPRESSED), std::end(COMPRESSED),
                  [this](std::string_view begin) { return _ahead.starts_with(begin); });
  if (is_compressed) decompress();
}

Input::~Input() = default;

void Input::decompress() {
  _decompressor.reset(archive_read_new());
  archive* const a = _decompressor.get();
  if (a == nullptr) fail(ENOMEM);
  archive_read_support_filter_gzip(a);
  archive_read_support_filter_zstd(a);
  archive_read_support_filter_xz(a);
  archive_read_support_format_raw(a);
  archive_read_support_format_empty(a);
  const auto read = [](archive* reading, void* input, const void** block) -> la_ssize_t {
    try {
      return static_cast<la_ssize_t>(static_cast<Input*>(input)->read_block(block));
    } catch (const InputError& error) {  // it must not pass through the library
      archive_set_error(reading, EIO, "%s", error.what());
      return -1;
    }
  };
  archive_entry* entry = nullptr;
  if (archive_read_open(a, this, nullptr, read, nullptr) != ARCHIVE_OK) fail(a);
  const int header = archive_read_next_header(a, &entry);
  if (header == ARCHIVE_EOF) {
    _decompressor.reset();  // what was compressed is empty, and the file is read to its end
  } else if (header != ARCHIVE_OK) {
    fail(a);
  }
}

// The next compressed bytes, for the decompressor. They are valid until the next call.
size_t Input::read_block(const void** block) {
  _block.resize(BLOCK_BYTES);
  size_t n = _ahead.copy(_block.data(), _ahead.size());
  _ahead.clear();
  if (n == 0) n = read_some(_descriptor.get(), _block.data(), _block.size());
  *block = _block.data();
  return n;
}

size_t Input::read(char* bytes, size_t size) {
  if (_decompressor) {
    const la_ssize_t n = archive_read_data(_decompressor.get(), bytes, size);
    if (n < 0) fail(_decompressor.get());
    return static_cast<size_t>(n);
  }
  if (_ahead.empty()) return read_some(_descriptor.get(), bytes, size);
  const size_t n = _ahead.copy(bytes, size);
  _ahead.erase(0, n);
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
