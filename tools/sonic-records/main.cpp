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
  if (problem.empty() && !summary.has_record) problem = "holds no record";
  return problem;
}

int run(int argc, char* argv[]) {
  const auto options = parse_options(argc, argv);
  if (!options) return 0;
  const std::unique_ptr<TableOutput> output = make_output(*options);
  Scan scan(options->range, *output);
  int status = 0;
  for (const std::string& path : in_order_of_time(options->files)) {
    const std::string problem = read_file(path, scan, *output);
    if (problem.empty()) continue;
    std::cerr << PROGRAM << ": " << path << ": " << problem << std::endl;
    status = 1;
  }
  output->finish();
  return status;
}

}  // namespace

}  // namespace sonic::records

int main(int argc, char* argv[]) {
  using namespace sonic::records;
  return sonic::run_program(PROGRAM, [&] { return run(argc, argv); });
}
