// A byte stream through the sampling loop. The fuzzer's input: a seed and a limit for the lengths
// of the pieces in which the stream arrives, a byte whose bits say which lines get the right
// checksums, the stream.

#include <sys/mman.h>
#include <unistd.h>

#include <random>

#include "fuzz/scripted_port.h"
#include "output/data_file.h"
#include "output/sampling.h"

namespace sonic {

static const std::string TOP = "Model\tm\nSN\ts\nVersion\tv\nRate\tr\n";
static const int DATA_FILE =
    memfd_create("data", 0);  // all that the loop opens, one after the other
static std::string expected, joined;
static uint64_t next_switch;

static parsed_data extract(const std::string& line, const data_record_parser_t& parser, bool v) {
  assert(line.size() < 1000 + 200);  // what may wait for its delimiter, and a block
  parsed_data record = young_81000_extract(line, parser, v);
  if (record.valid) {
    std::string seen = line.substr(0, line.find('\0'));  // nothing sees what follows a zero byte
    for (char& c : seen) c = static_cast<char>(tolower(c));
    assert(seen == with_checksums(seen));
  }
  if (record.valid && record.sec >= next_switch) {
    expected += TOP + young_81000_ops.header->header("") + "\n";
    next_switch = time_next_half_hour(record.sec);
  }
  if (record.valid) expected += data_line(record) + "\n";
  if (!record.valid && !expected.empty()) expected += "DATAERRORH\ttext\nDATAERROR\t" + line + "\n";
  joined += line + "\r";
  return record;
}

// The linker sends these here: no broker is asked, no priority raised, no file left.
struct mosquitto;
extern "C" int __wrap_mosquitto_connect_async(mosquitto*, const char*, int, int) { return -1; }
extern "C" int __wrap_setpriority(int, id_t, int) { return 0; }
extern "C" int __wrap_open(const char*, int, ...) { return dup(DATA_FILE); }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3 || ftruncate(DATA_FILE, 0) != 0 || lseek(DATA_FILE, 0, SEEK_SET) != 0) return 0;
  std::istringstream received(std::string(data + 3, data + size));
  std::string stream, pieces;
  for (std::string line; std::getline(received, line, '\r'); stream += line + "\r") {
    std::replace(line.begin(), line.end(), '\xff', '\xfe');
    if ((data[2] >> line.size() % 8 & 1) != 0) line = with_checksums(line);
  }
  std::minstd_rand random(data[0]);
  for (size_t at = 0, n = 0; at < stream.size(); at += n) {
    pieces += stream.substr(at, n = random() % (data[1] + 2U)) + '\xff';
  }
  play(pieces);
  expected = joined = "";
  next_switch = 0;

  Printed printed;
  static MQTTPublisher publisher("fuzz", "record", "fast", "", "status", "gone", true, true);
  Notifier notifier;
  Priviledges same{geteuid(), geteuid(), geteuid()};
  Priority priority(same, 0);
  Serial port("port", 38400, true);
  const config_map_t settings = {{"console_only", "0"},  {"verbose", "0"},
                                 {"iterations", "0"},    {"SONIC_ID", "young"},
                                 {"output_rate", "r"},   {"instrument", "m"},
                                 {"serial_number", "s"}, {"software_version", "v"}};
  SonicOps ops = young_81000_ops;
  ops.extract = extract;
  const std::string end =
      thrown_by([&] { sampling(publisher, notifier, port, settings, settings, priority, ops); });
  std::string written(expected.size() + 1, '\0');
  written.resize(static_cast<size_t>(pread(DATA_FILE, written.data(), written.size(), 0)));
  assert(written == expected);
  const bool dropped = printed.text().find("Excessive length") != std::string::npos;
  assert(joined == stream || dropped || end != "sampling");
  return 0;
}

}  // namespace sonic
