#include "tools/sonic-records/options.h"

#include <getopt.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace sonic::records {

namespace {

constexpr const char* HELP = R"(Usage: sonic-records [OPTION]... [FILE]...
The good records of sonicd's half-hour files as a table on standard output.
Files may be plain or compressed (gzip, zstd, xz), in any order; without FILE,
or with - alone, standard input is read.

  --from TIME       records from this time on
  --to TIME         records before this time
                    TIME: 2023-11-14, 2023-11-14T22:30:00.5Z (always UTC), or
                    seconds since 1970
  --format FORMAT   tsv (if not given), csv, or json: an object a line
  --epoch           times as seconds and nanoseconds since 1970, not ISO 8601
  --station NAME    a first column that holds this name
  --summary         a line a file instead: what it holds and what is missing
  --events          a line instead for each gap, restart, error, and the like
  --help            print this help

Exit status: 0; 1 when a file cannot be read or holds no record; 2 for a wrong
option.
)";

[[noreturn]] void refuse(const std::string& why) {
  std::cerr << "sonic-records: " << why << "\nsonic-records: see sonic-records --help" << std::endl;
  exit(2);
}

uint64_t time_option(const std::string& text) {
  const auto time = parse_time(text);
  if (!time) refuse("'" + text + "' is no time, such as 2023-11-14T22:30:00Z or 1700001000");
  return *time;
}

table_format format_option(const std::string& text) {
  if (text == "tsv") return table_format::tsv;
  if (text == "csv") return table_format::csv;
  if (text == "json") return table_format::json;
  refuse("'" + text + "' is no format; tsv, csv and json are");
}

/// What could end a cell is refused, so that no format needs to quote.
std::string station_option(const std::string& text) {
  const auto is_bad = [](char c) {
    return (static_cast<unsigned char>(c) < ' ') || c == '\x7f' || c == '"' || c == '\\' ||
           c == ',';
  };
  if (text.empty() || std::any_of(text.begin(), text.end(), is_bad)) {
    refuse("a station's name holds no comma, quotation mark, backslash or control character");
  }
  return text;
}

}  // namespace

Options parse_options(int argc, char** argv) {
  enum { FROM = 1, TO, FORMAT, EPOCH, STATION, SUMMARY, EVENTS, HELP_OPTION };
  const option known[] = {
      {"from", required_argument, nullptr, FROM},
      {"to", required_argument, nullptr, TO},
      {"format", required_argument, nullptr, FORMAT},
      {"epoch", no_argument, nullptr, EPOCH},
      {"station", required_argument, nullptr, STATION},
      {"summary", no_argument, nullptr, SUMMARY},
      {"events", no_argument, nullptr, EVENTS},
      {"help", no_argument, nullptr, HELP_OPTION},
      {nullptr, 0, nullptr, 0},
  };
  Options options;
  for (int id = 0; (id = getopt_long(argc, argv, "h", known, nullptr)) != -1;) {
    switch (id) {
      case FROM:
        options.range.from = time_option(optarg);
        break;
      case TO:
        options.range.to = time_option(optarg);
        break;
      case FORMAT:
        options.format = format_option(optarg);
        break;
      case EPOCH:
        options.epoch = true;
        break;
      case STATION:
        options.station = station_option(optarg);
        break;
      case SUMMARY:
        options.what = task::summary;
        break;
      case EVENTS:
        options.what = task::events;
        break;
      case 'h':
      case HELP_OPTION:
        std::cout << HELP;
        exit(0);
      default:
        exit(2);  // getopt has said why
    }
  }
  options.files.assign(argv + optind, argv + argc);
  if (options.files.empty()) options.files = {"-"};
  if (options.files.size() > 1 &&
      std::count(options.files.begin(), options.files.end(), "-") != 0) {
    refuse("standard input is read alone, not beside files");
  }
  return options;
}

}  // namespace sonic::records
