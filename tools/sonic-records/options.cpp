#include "tools/sonic-records/options.h"

#include <algorithm>
#include <stdexcept>

#include "base/command_line.h"

namespace sonic::records {

namespace {

constexpr const char* ABOUT =
    R"(The good records of sonicd's half-hour files as a table on standard output.
Files may be plain or compressed (gzip, zstd, xz), in any order; without FILE,
or with - alone, standard input is read.
)";

constexpr const char* NOTES =
    R"(TIME is 2023-11-14, 2023-11-14T22:30:00.5Z (always UTC), or seconds since 1970.

Exit status: 0; 1 when a file cannot be read or holds no record; 2 for a wrong
command line.
)";

uint64_t to_time(const std::string& text) {
  const auto time = parse_time(text);
  if (!time) {
    throw std::invalid_argument("'" + text +
                                "' is no time, such as 2023-11-14T22:30:00Z or 1700001000");
  }
  return *time;
}

TableFormat to_format(const std::string& text) {
  if (text == "tsv") return TableFormat::TSV;
  if (text == "csv") return TableFormat::CSV;
  if (text == "json") return TableFormat::JSON;
  throw std::invalid_argument("'" + text + "' is no format; tsv, csv and json are");
}

// What could end a cell is refused, so that no format needs to quote.
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

}  // namespace

std::optional<Options> parse_options(int argc, char* const argv[]) {
  using Text = std::string;
  Options o;
  const CommandLine command_line = {
      "sonic-records",
      "[OPTION]... [FILE]...",
      ABOUT,
      {{"from", "TIME", "records from this time on",
        [&o](const Text& t) { o.range.from = to_time(t); }},
       {"to", "TIME", "records before this time", [&o](const Text& t) { o.range.to = to_time(t); }},
       {"format", "FORMAT", "tsv (if not given), csv, or json: an object a line",
        [&o](const Text& t) { o.format = to_format(t); }},
       {"epoch", "", "times as seconds and nanoseconds since 1970, not ISO 8601", store(o.epoch)},
       {"station", "NAME", "a first column with this name",
        [&o](const Text& t) { o.station = to_station(t); }},
       {"summary", "", "a line a file instead: what is in it and what is missing",
        [&o](const Text&) { o.task = Task::SUMMARY; }},
       {"events", "", "a line instead for each gap, restart, error, and the like",
        [&o](const Text&) { o.task = Task::EVENTS; }}},
      NOTES};
  const auto files = command_line.parse(argc, argv);
  if (!files) return std::nullopt;
  o.files = *files;
  if (o.files.empty()) o.files = {"-"};
  if (o.files.size() > 1 && std::count(o.files.begin(), o.files.end(), "-") != 0) {
    throw UsageError("standard input is read alone, not beside files");
  }
  return o;
}

}  // namespace sonic::records
