#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <set>

#include "base/error.h"
#include "tools/files/input.h"
#include "tools/half_hours/grid.h"
#include "tools/sonic-records/period_output.h"

namespace sonic::records {

namespace {

namespace fs = std::filesystem;

constexpr const char* CSV = ".csv";
constexpr const char* REST_CSV = "_rest.csv";
constexpr const char* HEAD = "u,v,w,sos,ts,diag\n";
constexpr const char* MISSING = "-9999,-9999,-9999,-9999,-9999";
constexpr Quantity ORDER[] = {U, V, W, SOS, TS};

const std::vector<Column> COLUMNS = {{"file", true},     {"rate", false},   {"slots", false},
                                     {"records", false}, {"faults", false}, {"missing", false},
                                     {"left_out", false}};

// A value with two digits after the point, or up to four where it has more.
void append_value(std::string& text, int32_t value) {
  if (value < 0) text += '-';
  const auto parts = static_cast<uint32_t>(std::abs(int64_t{value}));
  text += std::to_string(parts / PARTS_PER_UNIT) + '.';
  std::string digits = std::to_string(PARTS_PER_UNIT + parts % PARTS_PER_UNIT).substr(1);
  while (digits.size() > 2 && digits.back() == '0') digits.pop_back();
  text += digits;
}

void append_values(std::string& text, const Sample& sample) {
  if (sample.values == NO_VALUES) {
    text += MISSING;
    return;
  }
  for (const Quantity quantity : ORDER) {
    if (quantity != ORDER[0]) text += ',';
    append_value(text, sample.values[quantity]);
  }
}

// "20231114-2230"
std::string name_of(uint64_t start) {
  const std::string iso = iso_seconds_text(start / NANOSECONDS_PER_SECOND);
  return iso.substr(0, 4) + iso.substr(5, 2) + iso.substr(8, 2) + "-" + iso.substr(11, 2) +
         iso.substr(14, 2);
}

std::string in_file_name(std::string serial_number) {
  const auto is_bad = [](char c) {
    return !std::isalnum(static_cast<unsigned char>(c)) && c != '-';
  };
  std::replace_if(serial_number.begin(), serial_number.end(), is_bad, '_');
  return serial_number.empty() ? "unknown" : serial_number;
}

// A CSV file a period, with its records at the evenly spaced times of their rate. What fits none of
// them is in a second file.
class SplitOutput : public PeriodOutput {
 public:
  explicit SplitOutput(const Options& options)
      : PeriodOutput(options),
        _options(options),
        _folder(options.split_folder),
        _now(clock_ns()),
        _table(options.format, options.station, COLUMNS) {
    fs::create_directories(_folder);
  }
  SplitOutput(const SplitOutput&) = delete;
  SplitOutput& operator=(const SplitOutput&) = delete;

  // Where the end was not reached, hidden files are left.
  ~SplitOutput() override {
    std::error_code ignored;
    for (const fs::path& path : _hidden) fs::remove(path, ignored);
  }

 private:
  struct Period {
    std::string name;
    std::vector<std::string> counts;  // cells after the name
    bool has_rest;
  };

  // Into hidden files, since a period may be passed a second time.
  void work(uint64_t start, std::vector<Sample>& samples) override {
    put_in_order(samples);
    const std::string name = name_of(start) + "_" + in_file_name(serial_number());
    if (start + _options.statistics.period > _now) {
      std::cerr << "sonic-records: " << name << CSV << ": not written, its time is not over yet"
                << std::endl;
      return;
    }
    const Grid grid = grid_of(samples, start, _options.statistics.period);
    write(name + CSV, grid_text(grid, samples));
    if (!grid.left_out.empty()) write(name + REST_CSV, rest_text(grid, samples));
    const auto faults = std::count_if(grid.slots.begin(), grid.slots.end(), [&](const auto& slot) {
      return slot && samples[*slot].diag != 0;
    });
    const auto missing = std::count(grid.slots.begin(), grid.slots.end(), std::nullopt);
    _periods[start] = {name,
                       {std::to_string(grid.rate), std::to_string(grid.slots.size()),
                        std::to_string(samples.size()), std::to_string(faults),
                        std::to_string(missing), std::to_string(grid.left_out.size())},
                       !grid.left_out.empty()};
  }

  bool finish_periods() override {
    bool is_complete = true;
    for (const auto& [start, period] : _periods) {
      const bool is_there = give_name(period.name + CSV);
      const bool is_rest_there = !period.has_rest || give_name(period.name + REST_CSV);
      if (!is_there || !is_rest_there) is_complete = false;
      std::vector<std::string> cells = {period.name + CSV};
      cells.insert(cells.end(), period.counts.begin(), period.counts.end());
      if (is_there) _table.row(cells);
    }
    _table.flush();
    return is_complete;
  }

  std::string grid_text(const Grid& grid, const std::vector<Sample>& samples) const {
    std::string text = HEAD;
    for (const auto& slot : grid.slots) {
      const bool has_values = slot && (samples[*slot].diag == 0 || _options.keep_faults);
      if (has_values) {
        append_values(text, samples[*slot]);
      } else {
        text += MISSING;
      }
      text += ',';
      text += slot ? std::to_string(samples[*slot].diag) : "-9999";
      text += '\n';
    }
    return text;
  }

  static std::string rest_text(const Grid& grid, const std::vector<Sample>& samples) {
    std::string text = std::string("time,") + HEAD;
    for (const uint32_t number : grid.left_out) {
      const Sample& sample = samples[number];
      text += iso_text(sample.time) + ",";
      append_values(text, sample);
      text += "," + std::to_string(sample.diag) + "\n";
    }
    return text;
  }

  fs::path hidden(const std::string& name) const { return _folder / ("." + name + ".part"); }

  void write(const std::string& name, const std::string& text) {
    _hidden.insert(hidden(name));
    std::ofstream file(hidden(name), std::ios::binary);
    file << text;
    file.close();
    if (!file) throw_error(errno, {hidden(name).native(), ": "});
  }

  // False, and a line on standard error, if there is a file of other content with this name.
  bool give_name(const std::string& name) const {
    const fs::path path = _folder / name;
    if (!fs::exists(path)) {
      fs::rename(hidden(name), path);
      return true;
    }
    const auto compared = compare_contents(path, hidden(name), WhenCut::END);
    fs::remove(hidden(name));
    if (compared == Comparison::SAME) return true;
    std::cerr << "sonic-records: " << path.native() << ": stays as it is, with other content"
              << std::endl;
    return false;
  }

  const Options _options;
  const fs::path _folder;
  const uint64_t _now;
  Table _table;
  std::map<uint64_t, Period> _periods;
  std::set<fs::path> _hidden;  // all that were written
};

}  // namespace

std::unique_ptr<TableOutput> make_split_output(const Options& options) {
  return std::make_unique<SplitOutput>(options);
}

}  // namespace sonic::records
