#include "tools/files/file_order.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "records/line_tags.h"
#include "tools/files/file_name.h"
#include "tools/files/line_reader.h"

namespace sonic {

namespace {

constexpr uint64_t NO_TIME = UINT64_MAX;
constexpr uint64_t NANOSECONDS_PER_HALF_HOUR = SECONDS_PER_HALF_HOUR * NANOSECONDS_PER_SECOND;
constexpr uint64_t MAX_CLOCK_AHEAD_NANOSECONDS = 48 * NANOSECONDS_PER_HALF_HOUR;

struct File {
  std::string path;
  // Of the first record, nanoseconds since 1970: NO_TIME if there is none or the file cannot be
  // read, which is reported later. For a file that need not be opened, the beginning of its half
  // hour.
  uint64_t first = NO_TIME;
  bool is_opened = false;
  std::string serial_number = {};  // of a file that has been opened
};

void open(File& file) try {
  file.first = NO_TIME;
  file.is_opened = true;
  Input input(file.path);
  LineReader lines(input);
  while (const auto line = lines.next()) {
    DataLine record;
    if (has_tag(*line, SERIAL_NUMBER_TAG) && file.serial_number.empty()) {
      file.serial_number = line->substr(SERIAL_NUMBER_TAG.size() + 1);
    }
    if (has_tag(*line, DATA_TAG) && parse_data_line(*line, record) == DataLineState::GOOD) {
      file.first = nanoseconds_of(record);
      return;
    }
  }
} catch (const InputError&) {
  file.first = NO_TIME;
}

// A file that has lost its top may be of any instrument.
bool may_be_copies(const File& a, const File& b) {
  const bool may_be_one_instrument =
      a.serial_number.empty() || b.serial_number.empty() || a.serial_number == b.serial_number;
  return a.first == b.first && a.first != NO_TIME && may_be_one_instrument;
}

uint64_t half_hour_of(const File& file) { return file.first / NANOSECONDS_PER_HALF_HOUR; }

bool is_before(const File& a, const File& b) { return a.first < b.first; }

// In the order of their half hours.
std::vector<File> by_half_hour(const std::vector<std::string>& paths, const TimeRange& range) {
  std::vector<File> files;
  for (const std::string& path : paths) {
    const std::string name = std::filesystem::path(path).filename().string();
    const auto parsed = parse_file_name(name);
    if (!parsed || parsed->start_seconds >= END_OF_TIME_SECONDS) {
      files.push_back({path});
      if (paths.size() > 1) open(files.back());
      continue;
    }
    const uint64_t start = parsed->start_seconds * NANOSECONDS_PER_SECOND;
    const bool is_over = start + NANOSECONDS_PER_HALF_HOUR <= range.from;
    const bool is_far = start >= range.to && start - range.to >= MAX_CLOCK_AHEAD_NANOSECONDS;
    if (!is_over && !is_far) files.push_back({path, start});
  }
  std::stable_sort(files.begin(), files.end(),
                   [](const File& a, const File& b) { return half_hour_of(a) < half_hour_of(b); });
  return files;
}

// Whether one of two files is the beginning of the other; if so, `file` becomes the longer one.
bool leave_longer(File& file, const File& other) {
  const Comparison compared = compare_contents(file.path, other.path, WhenCut::END);
  if (compared == Comparison::DIFFERENT) return false;
  const bool is_other = compared == Comparison::FIRST_BEGINS_SECOND;
  const File& contained = is_other ? file : other;
  const File& longer = is_other ? other : file;
  std::cerr << "sonic-records: " << contained.path << ": passed over, all of it is in "
            << longer.path << std::endl;
  if (is_other) file = other;
  return true;
}

// Adds a file unless it is a copy of one that is there already.
void add(const File& file, std::vector<File>& files) {
  const File* like = nullptr;
  for (File& other : files) {
    if (!may_be_copies(file, other)) continue;
    if (leave_longer(other, file)) return;
    like = &other;
  }
  if (like != nullptr) {
    std::cerr << "sonic-records: " << file.path << ": begins with the same record as " << like->path
              << " and differs from it; both are read" << std::endl;
  }
  files.push_back(file);
}

// Puts the files of one half hour into `paths`, in the order of their first records.
void add_half_hour(std::vector<File> files, std::vector<std::string>& paths) {
  if (files.size() > 1) {
    for (File& file : files) {
      if (!file.is_opened) open(file);
    }
    std::stable_sort(files.begin(), files.end(), is_before);
  }
  std::vector<File> kept;
  for (const File& file : files) add(file, kept);
  for (const File& file : kept) paths.push_back(file.path);
}

}  // namespace

bool can_be_read_twice(const std::string& path) {
  if (path == STANDARD_INPUT) return false;
  std::error_code error;
  const auto type = std::filesystem::status(path, error).type();
  return error || type == std::filesystem::file_type::regular ||
         type == std::filesystem::file_type::directory;  // that a pattern met
}

std::vector<std::string> in_order_of_time(std::vector<std::string> paths, const TimeRange& range) {
  if (!std::all_of(paths.begin(), paths.end(), can_be_read_twice)) return paths;
  const std::vector<File> files = by_half_hour(paths, range);
  paths.clear();
  for (auto first = files.begin(); first != files.end();) {
    const auto end = std::find_if(first, files.end(), [&](const File& file) {
      return half_hour_of(file) != half_hour_of(*first);
    });
    add_half_hour({first, end}, paths);
    first = end;
  }
  return paths;
}

}  // namespace sonic
