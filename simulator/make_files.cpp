// Half-hour files as the daemon writes them of the simulated instrument at 32 Hz, without the way
// through a port: a month in minutes.

#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

#include "records/data_line.h"
#include "simulator/stream.h"

namespace {

using sonic::NANOSECONDS;

constexpr unsigned int RATE = 32;
constexpr uint64_t HALF_HOUR = 1800;
constexpr size_t VALUES = 6;

std::ofstream new_file(const std::string& folder, uint64_t start, const std::string& serial) {
  std::ofstream file(folder + "/" + std::to_string(start) + ".young_81000_v." + serial);
  file << "Model\tRM Young 81000 V\nSN\t" << serial << "\nVersion\t4.10\nRate\t" << RATE
       << "\nDATA_SONICH\tSECONDS\tNANOSECONDS\tu\tv\tw\tsos\tts\tdiag\tchk\n";
  return file;
}

/// Of "SECONDS.NANOSECONDS,XX,   U   V   W   SOS   TS DIAG CHECK", as the port gives a record.
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

/// `seed` makes the wind, and is the serial number.
void make_files(const std::string& folder, uint64_t start, uint64_t seconds, uint32_t seed) {
  sonic::simulator::Options options;
  options.settings.rate = RATE;
  options.settings.fields = "5ABEC";  // as the daemon sets it
  options.start_ns = start * NANOSECONDS;
  options.seed = seed;
  sonic::simulator::Instrument instrument(options.settings, options.state, options.paging);
  sonic::simulator::Stream stream(options, instrument);
  stream.begin(true);
  std::ofstream file;
  for (uint64_t i = 0; i < seconds * RATE; ++i) {
    const uint64_t time = start * NANOSECONDS + i * NANOSECONDS / RATE;
    if (time % (HALF_HOUR * NANOSECONDS) == 0 || i == 0) {
      const uint64_t second = time / NANOSECONDS;
      file = new_file(folder, second - second % HALF_HOUR, std::to_string(seed));
    }
    const std::string values = values_of(stream.next().bytes);
    file << sonic::data_line(time / NANOSECONDS, time % NANOSECONDS, values) << '\n';
    if (!file) throw std::runtime_error(folder + ": cannot write");
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 5) {
    std::cerr << "usage: make-files FOLDER START SECONDS SEED\n";
    return 2;
  }
  try {
    make_files(argv[1], std::stoull(argv[2]), std::stoull(argv[3]),
               static_cast<uint32_t>(std::stoul(argv[4])));
  } catch (const std::exception& e) {
    std::cerr << "make-files: " << e.what() << '\n';
    return 1;
  }
  return 0;
}
