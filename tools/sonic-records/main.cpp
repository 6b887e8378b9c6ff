#include <iostream>

#include "base/command_line.h"
#include "tools/files/file_order.h"
#include "tools/files/input.h"
#include "tools/sonic-records/outputs.h"

namespace sonic::records {

namespace {

constexpr const char* PROGRAM = "sonic-records";

std::unique_ptr<TableOutput> make_output(const Options& options) {
  switch (options.task) {
    case Task::SUMMARY:
      return make_summary_table(options);
    case Task::EVENTS:
      return make_event_table(options);
    case Task::ENVELOPE:
      return make_envelope_table(options);
    case Task::HALF_HOURS:
      return make_half_hour_table(options);
    case Task::SPLIT:
      return make_split_output(options);
    case Task::RECORDS:
      break;
  }
  return make_record_table(options);
}

// Reads one file and returns what is wrong with it, if anything. What could be read counts.
std::string read_file(const std::string& path, Scan& scan, Output& output) {
  std::string problem;
  try {
    scan.read(path);
  } catch (const InputError& error) {
    problem = error.what();
  }
  const Summary& summary = scan.summary();
  output.end_of_file(path, summary);
  if (!problem.empty() || summary.has_record) return problem;
  return summary.has_crlf ? "its lines end in CR LF: it was changed after it was written"
                          : "contains no record";
}

int run(int argc, char* argv[]) {
  const auto options = parse_options(argc, argv);
  if (!options) return 0;
  const std::unique_ptr<TableOutput> output = make_output(*options);
  // What has a row of its own for each file or event may be of several.
  const bool is_about_files = options->task == Task::SUMMARY || options->task == Task::EVENTS;
  Scan scan(options->range, is_about_files ? Instruments::ANY : Instruments::ONE, *output);
  int status = 0;
  for (const std::string& path : in_order_of_time(options->files, options->range)) {
    const std::string problem = read_file(path, scan, *output);
    if (problem.empty()) continue;
    std::cerr << PROGRAM << ": " << path << ": " << problem << std::endl;
    status = 1;
  }
  return output->finish() ? status : 1;
}

}  // namespace

}  // namespace sonic::records

int main(int argc, char* argv[]) {
  using namespace sonic::records;
  return sonic::run_program(PROGRAM, [&] { return run(argc, argv); });
}
