#include "tools/files/file_order.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "records/line_tags.h"
#include "tools/files/line_reader.h"
#include "tools/files/scan.h"

namespace sonic {

namespace {

struct File {
  std::string path;
  uint64_t first;  // record, nanoseconds since 1970
};

// UINT64_MAX if there is no record or the file cannot be read, which is reported later.
uint64_t first_record(const std::string& path) try {
  Input input(path);
  LineReader lines(input);
  while (const auto line = lines.next()) {
    DataLine record;
    if (has_tag(*line, DATA_TAG) && parse_data_line(*line, record) == DataLineState::GOOD) {
      return nanoseconds_of(record);
    }
  }
  return UINT64_MAX;
} catch (const InputError&) {
  return UINT64_MAX;
}

// Whether one of two files with the same first record contains the other; if so, `path` becomes the
// longer one.
bool leave_longer(std::string& path, const std::string& other) {
  const Comparison compared = compare_contents(path, other, WhenCut::END);
  if (compared == Comparison::DIFFERENT) return false;
  const bool is_other = compared == Comparison::FIRST_BEGINS_SECOND;
  const std::string& contained = is_other ? path : other;
  const std::string& longer = is_other ? other : path;
  std::cerr << "sonic-records: " << contained << ": passed over, all of it is in " << longer
            << std::endl;
  if (is_other) path = other;
  return true;
}

}  // namespace

std::vector<std::string> in_order_of_time(std::vector<std::string> paths) {
  const auto can_be_read_twice = [](const std::string& path) {
    std::error_code error;
    const auto type = std::filesystem::status(path, error).type();
    return error || type == std::filesystem::file_type::regular ||
           type == std::filesystem::file_type::directory;  // that a pattern met
  };
  if (paths.size() < 2 || !std::all_of(paths.begin(), paths.end(), can_be_read_twice)) return paths;

  std::vector<File> files;
  for (std::string& path : paths) files.push_back({path, first_record(path)});
  std::stable_sort(files.begin(), files.end(),
                   [](const File& a, const File& b) { return a.first < b.first; });
  paths.clear();
  uint64_t before = UINT64_MAX;
  for (const File& f : files) {
    const bool may_be_copy = f.first == before && f.first != UINT64_MAX;
    before = f.first;
    if (!may_be_copy || !leave_longer(paths.back(), f.path)) paths.push_back(f.path);
  }
  return paths;
}

}  // namespace sonic
