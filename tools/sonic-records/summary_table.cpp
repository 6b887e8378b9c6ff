#include <cmath>

#include "tools/sonic-records/plain_table.h"

namespace sonic::records {

namespace {

const std::vector<Column> COLUMNS = {
    {"file", true},      {"model", true},        {"serial_number", true}, {"rate", false},
    {"first", true},     {"last", true},         {"records", false},      {"expected", false},
    {"gaps", false},     {"gap_seconds", false}, {"failed", false},       {"errors", false},
    {"restarts", false}, {"clock_back", false},  {"left_out", false},     {"faults", false},
};

// A row a file.
class SummaryTable : public PlainTable {
 public:
  explicit SummaryTable(const Options& options) : PlainTable(options, COLUMNS) {}

  void end_of_file(const std::string& path, const Summary& s) override {
    const auto count = [](uint64_t number) { return std::to_string(number); };
    const bool has_expected = s.rate != 0 && s.records != 0;
    row({path, s.model, s.serial_number, s.rate != 0 ? count(s.rate) : "",
         s.records != 0 ? time(s.first) : "", s.records != 0 ? time(s.last) : "", count(s.records),
         has_expected ? count(expected(s)) : "", count(s.gaps), seconds_text(s.gap_nanoseconds),
         count(s.failed), count(s.errors), count(s.restarts), count(s.clock_back),
         count(s.left_out), count(s.faults)});
  }

 private:
  static uint64_t expected(const Summary& s) {
    return static_cast<uint64_t>(std::llround(s.expected));
  }
};

}  // namespace

std::unique_ptr<TableOutput> make_summary_table(const Options& options) {
  return std::make_unique<SummaryTable>(options);
}

}  // namespace sonic::records
