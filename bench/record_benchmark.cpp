// What one record costs in processor time: in the matcher, in its extraction, and in the rest of
// the sampling loop down to the system and library calls.

#include <benchmark/benchmark.h>
#include <regex.h>

#include <iostream>
#include <stdexcept>

#include "app/configuration.h"
#include "bench/port_input.h"
#include "bench/wrapped_calls.h"
#include "mqtt/mqtt_publisher.h"
#include "output/sampling.h"
#include "terminal/pseudo_terminal.h"

namespace sonic::bench {

namespace {

constexpr size_t LINES = 1000;
constexpr size_t SUBMATCHES = 20;   // as many as the daemon asks for
constexpr int64_t RECORDS = 10000;  // per run of the sampling loop

const std::vector<std::string>& lines() {
  static const std::vector<std::string> all = port_lines(LINES);
  return all;
}

void matcher(benchmark::State& state) {
  regex_t pattern;
  if (regcomp(&pattern, young_81000_input_format.c_str(), REG_EXTENDED) != 0) {
    return state.SkipWithError("regcomp");
  }
  regmatch_t found[SUBMATCHES];
  size_t i = 0;
  for (auto _ : state) {
    if (regexec(&pattern, lines()[i].c_str(), SUBMATCHES, found, 0) != 0) {
      state.SkipWithError("no match");
      break;
    }
    i = (i + 1) % LINES;
  }
  regfree(&pattern);
}
BENCHMARK(matcher);

void extraction(benchmark::State& state) {
  size_t i = 0;
  for (auto _ : state) {
    if (!young_81000_extract(lines()[i], young_81000_record_parser, false).valid) {
      state.SkipWithError("not valid");
      break;
    }
    i = (i + 1) % LINES;
  }
}
BENCHMARK(extraction);

// Stands in for the extraction: the records are ready, with what the loop uses of them.
parsed_data next_ready(const std::string& /*line*/, const data_record_parser_t& /*parser*/,
                       bool /*verbose*/) {
  static const std::vector<parsed_data> ready = [] {
    std::vector<parsed_data> records;
    for (const auto& line : lines()) {
      records.push_back(young_81000_extract(line, young_81000_record_parser, false));
      records.back().ts.clear();
      records.back().raw.clear();
    }
    return records;
  }();
  static size_t i = 0;
  const parsed_data& record = ready[i];
  i = (i + 1) % LINES;
  return record;
}

class Silence {
 public:
  Silence() : _shown(std::cout.rdbuf(nullptr)) {}
  ~Silence() {
    std::cout.rdbuf(_shown);
    std::cout.clear();
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  std::streambuf* const _shown;
};

void sampling_loop(benchmark::State& state, SonicOps& ops) {
  port_input.clear();
  for (const auto& line : lines()) port_input += line + "\r";

  const Silence silence;
  const PseudoTerminal terminal("", 38400);
  Serial port(terminal.path(), 38400, true);
  Priviledges privileges;
  Priority priority(privileges, 0);
  MQTTPublisher publisher("benchmark", "record", "record/fast", "", "record/status", "gone", true,
                          false);
  Notifier notifier;
  const config_map_t config = {{"console_only", "0"},
                               {"verbose", "0"},
                               {"SONIC_ID", "young_81000_v"},
                               {"iterations", std::to_string(RECORDS)}};
  const config_map_t extras = {{"serial_number", "01234"},
                               {"instrument", "RM Young 81000 V"},
                               {"software_version", "4.10"},
                               {"output_rate", "32"}};
  while (state.KeepRunningBatch(RECORDS)) {
    sampling(publisher, notifier, port, config, extras, priority, ops);
  }
}

void everything(benchmark::State& state) { sampling_loop(state, young_81000_ops); }
BENCHMARK(everything);

void all_but_extraction(benchmark::State& state) {
  SonicOps ops = young_81000_ops;
  ops.extract = next_ready;
  sampling_loop(state, ops);
}
BENCHMARK(all_but_extraction);

}  // namespace

}  // namespace sonic::bench

BENCHMARK_MAIN();
