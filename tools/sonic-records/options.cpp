#include "tools/sonic-records/options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <stdexcept>

#include "base/command_line.h"
#include "tools/files/input.h"
#include "tools/half_hours/planes.h"

namespace sonic::records {

namespace {

constexpr const char* ABOUT =
    R"(Prints the good records of sonicd's data files as a table, or statistics
computed from them. Files may be plain or compressed (gzip, zstd, xz), in any
order; without FILE, or with - alone, standard input is read.
)";

constexpr const char* NOTES =
    R"(TIME is 2023-11-14, 2023-11-14T22:30:00.5Z (always UTC), or seconds since 1970.
The columns, their formulas and sources are in data-format.md and half-hours.md.

Exit status: 0; 1 when a file cannot be read or contains no record, or when
the files are of two instruments; 2 for a wrong command line.
)";

constexpr uint64_t MINUTE = 60 * NANOSECONDS_PER_SECOND;
constexpr uint64_t HOUR = 60 * MINUTE;
constexpr int64_t MAX_UTC_OFFSET_HOURS = 14;
constexpr std::string_view PLANAR = "planar:";

uint64_t to_time(const std::string& text) {
  const auto time = parse_time(text);
  if (!time) {
    throw std::invalid_argument("'" + text +
                                "' is not a time, such as 2023-11-14T22:30:00Z or 1700001000");
  }
  return *time;
}

TableFormat to_format(const std::string& text) {
  if (text == "tsv") return TableFormat::TSV;
  if (text == "csv") return TableFormat::CSV;
  if (text == "json") return TableFormat::JSON;
  throw std::invalid_argument("'" + text + "' is not a format; use tsv, csv or json");
}

// A name in a file's name or in a query must not need quoting there either.
std::string to_station(const std::string& text) {
  const auto is_bad = [](char c) {
    return (static_cast<unsigned char>(c) < ' ') || c == '\x7f' || c == '"' || c == '\\' ||
           c == ',';
  };
  if (text.empty() || std::any_of(text.begin(), text.end(), is_bad)) {
    throw std::invalid_argument(
        "a station's name has no comma, quotation mark, backslash or control character");
  }
  return text;
}

// All of a text as a number; nothing if there is more or less.
template <typename Number>
std::optional<Number> number_of(std::string_view text) {
  Number number = {};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return {};
  return number;
}

uint64_t to_width(const std::string& text) {
  const auto width = text.find('-') == std::string::npos ? parse_time(text) : std::nullopt;
  if (!width || *width == 0)
    throw std::invalid_argument("'" + text + "' is not a number of seconds");
  return *width;
}

uint64_t to_period(const std::string& text) {
  const size_t digits = std::min(text.find("min"), text.size());
  const auto minutes = number_of<uint64_t>(std::string_view(text).substr(0, digits));
  if (text.substr(digits) != "min" || !minutes || *minutes == 0 ||
      HOUR % (*minutes * MINUTE) != 0) {
    throw std::invalid_argument("'" + text +
                                "' is not a period: 1min to 60min, a divisor of an hour");
  }
  return *minutes * MINUTE;
}

// A number within limits, both of which are allowed.
double to_number(const std::string& text, double least, double most, const char* what) {
  const auto number = number_of<double>(text);
  if (!number || !(*number >= least && *number <= most)) {
    throw std::invalid_argument("'" + text + "' is no " + what);
  }
  return *number;
}

void set_rotation(StatisticsOptions& options, const std::string& text) {
  if (text == "double") {
    options.rotation = RotationMethod::DOUBLE;
  } else if (text == "none") {
    options.rotation = RotationMethod::NONE;
  } else if (text.starts_with(PLANAR)) {
    options.rotation = RotationMethod::PLANAR;
    options.planes = read_planes(text.substr(PLANAR.size()));
  } else {
    throw std::invalid_argument("'" + text +
                                "' is not a rotation; double, none and planar:FILE are");
  }
}

ColumnNames to_names(const std::string& text) {
  if (text == "ameriflux") return ColumnNames::AMERIFLUX;
  throw std::invalid_argument("'" + text + "' is not a set of names; there is ameriflux");
}

// "+05:30", "-8"
int64_t to_utc_offset(const std::string& text) {
  const bool has_sign = text.starts_with('+') || text.starts_with('-');
  const size_t colon = std::min(text.find(':'), text.size());
  const std::string_view all = text;
  const auto hours = number_of<int64_t>(all.substr(has_sign ? 1 : 0, colon - (has_sign ? 1 : 0)));
  const bool has_minutes = colon != text.size();
  const auto minutes = has_minutes ? number_of<int64_t>(all.substr(colon + 1)) : 0;
  if (!has_sign || !hours || !minutes || *hours < 0 || *hours > MAX_UTC_OFFSET_HOURS ||
      *minutes < 0 || *minutes > 59) {
    throw std::invalid_argument("'" + text + "' is not an offset, such as +01:00 or -8");
  }
  const int64_t seconds = (*hours * 60 + *minutes) * 60;
  return text.front() == '-' ? -seconds : seconds;
}

// Builds the options of the command line, and knows which of them go together.
class OptionTable {
 public:
  explicit OptionTable(Options& options) : _options(options) {}

  // An option with which the program does something else.
  Option task(Task task, Option option) {
    option.set = [this, task, name = option.name, set = option.set](const std::string& value) {
      if (set) set(value);
      if (!_task_name.empty() && _options.task != task) {
        throw UsageError("--" + _task_name + " and --" + name + " exclude each other");
      }
      _task_name = name;
      _options.task = task;
    };
    return option;
  }

  // An option that only some tasks have; `whose` names them.
  Option of(const std::vector<Task>& tasks, const char* whose, Option option) {
    option.set = [this, tasks, whose, name = option.name,
                  set = option.set](const std::string& value) {
      set(value);
      _limited.push_back({name, tasks, whose});
    };
    return option;
  }

  void check() const {
    for (const auto& [name, tasks, whose] : _limited) {
      if (std::find(tasks.begin(), tasks.end(), _options.task) == tasks.end()) {
        throw UsageError("--" + name + " is an option of " + whose);
      }
    }
  }

 private:
  struct Limited {
    std::string name;
    std::vector<Task> tasks;
    const char* whose;
  };

  Options& _options;
  std::string _task_name;
  std::vector<Limited> _limited;
};

}  // namespace

std::optional<Options> parse_options(int argc, char* const argv[]) {
  using Text = std::string;
  Options o;
  std::optional<TableFormat> format;
  OptionTable table(o);
  Site& site = o.statistics.site;
  const auto of_half_hours = [&table](Option option) {
    return table.of({Task::HALF_HOURS}, "--half-hours", std::move(option));
  };
  const CommandLine command_line = {
      "sonic-records",
      "[OPTION]... [FILE]...",
      ABOUT,
      {{"from", "TIME", "records from this time on",
        [&o](const Text& t) { o.range.from = to_time(t); }},
       {"to", "TIME", "records before this time", [&o](const Text& t) { o.range.to = to_time(t); }},
       {"format", "FORMAT", "tsv (default), csv, or json: one object on each line",
        [&format](const Text& t) { format = to_format(t); }},
       {"epoch", "", "times as seconds and nanoseconds since 1970, not ISO 8601", store(o.epoch)},
       {"station", "NAME", "add a first column with this name",
        [&o](const Text& t) { o.station = to_station(t); }},
       table.task(Task::SUMMARY,
                  {"summary", "", "a line for each file: what is in it and what is missing", {}}),
       table.task(Task::EVENTS,
                  {"events", "", "a line for each gap, restart, error, and the like", {}}),
       table.task(Task::ENVELOPE,
                  {"envelope", "SECONDS", "a line for each span of this length: extremes and means",
                   [&o](const Text& t) { o.envelope_width = to_width(t); }}),
       table.task(Task::HALF_HOURS,
                  {"half-hours", "", "a line for each half hour: means, fluxes, quality", {}}),
       table.task(Task::SPLIT, {"split", "FOLDER",
                                "write a CSV file for each half hour into this folder, evenly\n"
                                "spaced, and print a line for each of them",
                                store(o.split_folder)}),
       table.of({Task::HALF_HOURS, Task::SPLIT}, "--half-hours and --split",
                {"period", "TIME", "length of a period: 1min to 60min, a divisor of an hour",
                 [&o](const Text& t) { o.statistics.period = to_period(t); }}),
       table.of({Task::SPLIT}, "--split",
                {"keep-faults", "", "write the values of records with a fault, too, not -9999",
                 store(o.keep_faults)}),
       of_half_hours({"rotation", "HOW", "double (default), none, or planar:FILE",
                      [&o](const Text& t) { set_rotation(o.statistics, t); }}),
       of_half_hours({"despike", "", "leave out records with a spike, which are counted anyway",
                      store(o.statistics.despike)}),
       of_half_hours(
           {"height", "M", "height above the zero plane, which L and itc need",
            [&site](const Text& t) { site.height = to_number(t, 0.01, 1000, "height"); }}),
       of_half_hours(
           {"latitude", "DEG", "latitude, which itc uses in stable air; needs --height",
            [&site](const Text& t) { site.latitude = to_number(t, -90, 90, "latitude"); }}),
       of_half_hours(
           {"pressure", "HPA", "air pressure, which TAU needs",
            [&site](const Text& t) { site.pressure = to_number(t, 1, 1100, "pressure"); }}),
       of_half_hours({"names", "WHOSE", "ameriflux: its names of columns, by default as csv",
                      [&o](const Text& t) { o.names = to_names(t); }}),
       of_half_hours({"utc-offset", "HH:MM", "offset of the times with these names, such as +01:00",
                      [&o](const Text& t) { o.utc_offset_seconds = to_utc_offset(t); }})},
      NOTES};
  const auto files = command_line.parse(argc, argv);
  if (!files) return std::nullopt;
  table.check();
  if (!std::isnan(site.latitude) && std::isnan(site.height)) {
    throw UsageError("--latitude needs --height");
  }
  if (o.names == ColumnNames::OWN && (!std::isnan(site.pressure) || o.utc_offset_seconds != 0)) {
    throw UsageError("--pressure and --utc-offset need --names ameriflux");
  }
  if (o.range.from >= o.range.to) throw UsageError("--from is not before --to");
  const auto is_within_period = [&o](uint64_t time) {
    return time != TimeRange().to && time % o.statistics.period != 0;
  };
  if (o.task == Task::SPLIT && (is_within_period(o.range.from) || is_within_period(o.range.to))) {
    throw UsageError("--split needs whole periods between --from and --to");
  }
  o.format = format.value_or(o.names == ColumnNames::OWN ? TableFormat::TSV : TableFormat::CSV);
  o.files = *files;
  if (o.files.empty()) o.files = {STANDARD_INPUT};
  if (o.files.size() > 1 && std::count(o.files.begin(), o.files.end(), STANDARD_INPUT) != 0) {
    throw UsageError("standard input is read alone, not beside files");
  }
  return o;
}

}  // namespace sonic::records
