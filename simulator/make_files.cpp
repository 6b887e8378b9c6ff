// Half-hour files as the daemon writes them of the simulated instrument at 32 Hz, without the way
// through a port: a month in minutes.

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

#include "base/command_line.h"
#include "base/time.h"
#include "output/data_header.h"
#include "records/data_line.h"
#include "simulator/stream.h"

namespace sonic::simulator {

namespace {

constexpr const char* PROGRAM = "make-files";
constexpr unsigned int RATE_HZ = 32;
constexpr size_t VALUES = 6;

std::ofstream new_file(const std::string& folder, uint64_t start, const std::string& serial) {
  std::ofstream file(folder + "/" + std::to_string(start) + ".young_81000_v." + serial);
  file << instrument_lines("RM Young 81000 V", serial, "4.10", std::to_string(RATE_HZ)) << '\n'
       << young_81000_data_header().header("") << '\n';
  return file;
}

// Of "SECONDS.NANOSECONDS,XX,   U   V   W   SOS   TS DIAG CHECKSUM", as the port gives a record.
std::string values_of(const std::string& port_line) {
  std::string values;
  size_t end = port_line.rfind(',') + 1;
  for (size_t i = 0; i < VALUES; ++i) {
    const size_t begin = port_line.find_first_not_of(' ', end);
    end = port_line.find(' ', begin);
    values.append(port_line, begin, end - begin);
    values += '\t';
  }
  return values;
}

// `seed` makes the wind, and is the serial number.
void make_files(const std::string& folder, uint64_t start, uint64_t seconds, uint32_t seed) {
  Options options;
  options.settings.rate = RATE_HZ;
  options.settings.fields = "5ABEC";  // as the daemon sets it
  options.start_ns = start * NANOSECONDS_PER_SECOND;
  options.seed = seed;
  Instrument instrument(options.settings, options.state, options.paging);
  Stream stream(options, instrument);
  stream.begin(true);
  std::ofstream file;
  for (uint64_t i = 0; i < seconds * RATE_HZ; ++i) {
    const uint64_t second = start + i / RATE_HZ;
    const uint64_t nanosecond = i % RATE_HZ * NANOSECONDS_PER_SECOND / RATE_HZ;
    if ((nanosecond == 0 && second % SECONDS_PER_HALF_HOUR == 0) || i == 0) {
      file = new_file(folder, second - second % SECONDS_PER_HALF_HOUR, std::to_string(seed));
    }
    file << data_line(second, nanosecond, values_of(stream.next().bytes)) << '\n';
    if (!file) throw std::runtime_error(folder + ": cannot write");
  }
}

int run(int argc, char* argv[]) {
  const CommandLine command_line = {
      PROGRAM,
      "FOLDER START SECONDS SEED",
      "Writes the data files of SECONDS from START on, in seconds since 1970.\n",
      {},
      ""};
  const auto arguments = command_line.parse(argc, argv);
  if (!arguments) return 0;
  if (arguments->size() != 4) throw UsageError("FOLDER, START, SECONDS and SEED are needed");
  make_files(arguments->at(0), std::stoull(arguments->at(1)), std::stoull(arguments->at(2)),
             static_cast<uint32_t>(std::stoul(arguments->at(3))));
  return 0;
}

}  // namespace

}  // namespace sonic::simulator

int main(int argc, char* argv[]) {
  using namespace sonic::simulator;
  return sonic::run_program(PROGRAM, [&] { return run(argc, argv); });
}
