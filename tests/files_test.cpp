// Data files as the tools read them: names, times, lines, records, order.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "records/data_line.h"
#include "records/line_tags.h"
#include "records/text.h"
#include "tests/cases.h"
#include "tests/recorded_calls.h"
#include "tests/support.h"
#include "tools/files/file_name.h"
#include "tools/files/file_order.h"
#include "tools/files/line_reader.h"
#include "tools/files/scan.h"
#include "tools/sonicd-compress/compress.h"

namespace sonic {

namespace {

constexpr const char* NONE = "none";
const std::string GOOD = "1.0\t1.0\t1.0\t1.0\t1.0\t0\t";
const std::string FAULT = "1.0\t1.0\t1.0\t1.0\t1.0\t40\t";

std::string path(const std::string& name) { return home_folder + "/" + name; }

std::string without_folder(std::string text) {
  const std::string folder = path("");
  for (size_t at = 0; (at = text.find(folder)) != std::string::npos;) text.erase(at, folder.size());
  return text;
}

std::string time_of(const std::string& text) {
  const auto time = parse_time(text);
  return time ? std::to_string(*time) : NONE;
}

std::string parts_of(const std::string& name) {
  const auto parts = parse_file_name(name);
  if (!parts) return NONE;
  return std::to_string(parts->start_seconds) + " of " + std::string(parts->instrument);
}

void read_lines(Serial&, const std::string& bytes, bool) {
  std::ofstream(path("file"), std::ios::binary) << bytes;
  Input input(path("file"));
  LineReader lines(input);
  while (const auto line = lines.next()) print(*line);
}

// The line or lines that a word stands for; any other is the time of a record, "1.5".
std::string lines_of(const std::string& word) {
  const std::string argument = word.substr(word.find('=') + 1);
  if (word.rfind("serial=", 0) == 0) return std::string(SERIAL_NUMBER_TAG) + "\t" + argument + "\n";
  if (word.rfind("rate=", 0) == 0) {
    return std::string(RATE_TAG) + "\t" + argument + "\n" + std::string(HEADER_TAG) + "\tSECONDS\n";
  }
  if (word == "error") return std::string(ERROR_TAG) + "\tnoise\n";
  if (word == "bad") return "DATA_SONIC\t1\t0\t1.0\t1.0\t1.0\t1.0\t1.0\t0\t  0\n";
  if (word.rfind("values=", 0) == 0)
    return data_line(1, 0, transform_commas_to_tabs(argument)) + "\n";
  if (word.rfind("seconds=", 0) == 0) return data_line(std::stoull(argument), 0, GOOD) + "\n";
  if (word.rfind("nanoseconds=", 0) == 0) return data_line(1, std::stoull(argument), GOOD) + "\n";
  const uint64_t time = parse_time(argument).value();
  return data_line(time / NANOSECONDS_PER_SECOND, time % NANOSECONDS_PER_SECOND,
                   word == argument ? GOOD : FAULT) +
         "\n";
}

// Prints what a scan passes on.
class PrintingOutput : public Output {
 public:
  void record(const DataLine& record, const Summary&) override {
    std::cout << seconds(nanoseconds_of(record)) << (record.has_fault ? " with a fault" : "")
              << ' ';
  }
  void between(sonic::Event event, std::optional<uint64_t> before, uint64_t length) override {
    const char* const names[] = {"gap",    "clock back", "rate change", "restart",
                                 "failed", "left out",   "error"};
    std::cout << '(' << names[static_cast<size_t>(event)];
    if (length != 0) std::cout << " of " << seconds(length);
    if (!before) std::cout << " at first";
    std::cout << ") ";
  }

 private:
  static std::string seconds(uint64_t time) {
    const std::string text = seconds_text(time);
    return text.substr(0, text.find_last_not_of('0') + 1);
  }
};

// Only what is not zero.
std::string counts(const Summary& s) {
  std::ostringstream text;
  text << s.records << " of " << s.expected;
  const auto add = [&](const char* name, uint64_t count) {
    if (count != 0) text << ", " << name << ' ' << count;
  };
  add("rate", s.rate);
  add("faults", s.faults);
  add("gaps", s.gaps);
  add("ns in them", s.gap_nanoseconds);
  add("clock back", s.clock_back);
  add("restarts", s.restarts);
  add("failed", s.failed);
  add("left out", s.left_out);
  add("errors", s.errors);
  return text.str();
}

void scan_words(const std::string& words, const TimeRange& range, Instruments instruments) {
  PrintingOutput output;
  Scan scan(range, instruments, output);
  for (const std::string& file : split(words, '|')) {
    std::ofstream out(path("file"), std::ios::binary);
    std::istringstream all(file);
    for (std::string word; all >> word;) out << lines_of(word);
    out.close();
    scan.read(path("file"));
    std::cout << std::endl << counts(scan.summary()) << std::endl;
  }
}

TimeRange range_of(std::istream& words) {
  std::string range;
  words >> range;
  const size_t dash = range.find('-');
  return {parse_time(range.substr(0, dash)).value(), parse_time(range.substr(dash + 1)).value()};
}

void scan(Serial&, const std::string& words, bool) { scan_words(words, {}, Instruments::ANY); }

void scan_range(Serial&, const std::string& text, bool) {
  std::istringstream words(text);
  const TimeRange range = range_of(words);
  std::string rest;
  std::getline(words, rest);
  scan_words(rest, range, Instruments::ANY);
}

// NAME=WORD,WORD... is a file with these lines, NAME one that is there already or is not.
void put_in_order(std::istream& words, const TimeRange& range) {
  std::vector<std::string> paths;
  for (std::string word; words >> word;) {
    const size_t end = word.find('=');
    paths.push_back(path(word.substr(0, end)));
    if (end == std::string::npos) continue;
    std::ofstream file(paths.back(), std::ios::binary);
    for (const std::string& line : split(word.substr(end + 1), ',')) file << lines_of(line);
  }
  std::ostringstream messages;
  std::streambuf* const before = std::cerr.rdbuf(messages.rdbuf());
  std::string order;
  for (const std::string& file : in_order_of_time(paths, range)) order += file + " ";
  std::cerr.rdbuf(before);
  std::cout << without_folder(messages.str() + "= " + order) << std::endl;
  for (const std::string& file : paths) std::filesystem::remove(file);
}

void order(Serial&, const std::string& text, bool) {
  std::istringstream words(text);
  put_in_order(words, {});
}

void order_in(Serial&, const std::string& text, bool) {
  std::istringstream words(text);
  const TimeRange range = range_of(words);
  put_in_order(words, range);
}

// NAME=MINUTES is a file that was written to so long ago, NAME a link.
void finished(Serial&, const std::string& text, bool) {
  namespace fs = std::filesystem;
  fs::create_directory(path("data"));
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const size_t end = word.find('=');
    const std::string file = path("data/" + word.substr(0, end));
    if (end == std::string::npos) {
      fs::create_symlink("5400.m.1", file);
      continue;
    }
    std::ofstream(file) << word;
    const auto age = std::chrono::minutes(std::stoi(word.substr(end + 1)));
    fs::last_write_time(file, fs::file_time_type::clock::now() - age);
  }
  for (const auto& file : compress::finished_files(path("data"))) {
    std::cout << file.filename().string() << std::endl;
  }
}

const Calls CALLS = {
    {"finished", finished},
    {"time", shown(time_of)},
    {"iso", shown([](const std::string& time) { return iso_text(std::stoull(time)); })},
    {"seconds", shown([](const std::string& time) { return seconds_text(std::stoull(time)); })},
    {"whole_seconds",
     shown([](const std::string& time) { return iso_seconds_text(std::stoull(time)); })},
    {"name", shown(parts_of)},
    {"lines", read_lines},
    {"scan", scan},
    {"range", scan_range},
    {"order", order},
    {"order_in", order_in},
};

const bool CASES = add_cases<HomeTest>("Files", "files", CALLS);

}  // namespace

}  // namespace sonic
