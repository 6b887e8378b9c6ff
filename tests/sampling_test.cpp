#include "output/sampling.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <set>

#include "tests/cases.h"
#include "tests/recorded_calls.h"
#include "tests/virtual_port.h"

namespace sonic {

namespace {

constexpr size_t PIECES[] = {1, 7, 64, 150, 199, 3};  // bytes that arrive at once

// The identity of the instrument is a letter each.
void sample(Serial& port, const std::string& iterations, bool verbose) {
  const config_map_t settings = {{"console_only", "0"},
                                 {"verbose", verbose ? "1" : "0"},
                                 {"SONIC_ID", "id"},
                                 {"iterations", iterations}};
  const config_map_t found = {
      {"instrument", "I"}, {"serial_number", "S"}, {"software_version", "V"}, {"output_rate", "R"}};
  std::optional<MQTTPublisher> publisher;
  {
    Printed elsewhere;
    publisher.emplace("id", "record", "fast", "", "status", "gone", false, false);
  }
  PrintingNotifier notifier;
  Priviledges same{7, 7, 7};
  Priority priority(same, 0);
  const std::string outcome = thrown_by(
      [&] { sampling(*publisher, notifier, port, settings, found, priority, young_81000_ops); });
  Printed elsewhere;
  publisher.reset();
  if (outcome != "nothing thrown") throw std::runtime_error(outcome);
}

// Without end.
void sample_on(Serial& port) { sample(port, "0", false); }

std::set<std::filesystem::path> files_in(const std::string& folder) {
  const std::filesystem::directory_iterator files(folder), end;
  return {files, end};
}

const bool CASES = add_cases<HomeTest>("Sampling", "sampling", {{"sample", sample}});

}  // namespace

using SamplingTest = HomeTest;

TEST_F(SamplingTest, RecordingsGiveTheirFilesAndMessages) {
  for (const auto& input : files_in(TESTS "/replay")) {
    if (input.extension() != ".port") continue;
    Script script;
    int moment = 0;
    for (std::string left = content(input); !left.empty(); ++moment) {
      const size_t piece = PIECES[static_cast<size_t>(moment) % std::size(PIECES)];
      script.emplace_back(moment, left.substr(0, piece));
      left.erase(0, piece);
    }
    script.emplace_back(moment + 1500, INTERRUPT);
    const auto open_before = open_files();
    std::string seen = "== printed\n" + without(transcript(script, sample_on), "[", "ms] ");
    EXPECT_EQ(open_before, open_files());
    for (const auto& file : files_in(home_folder)) {
      seen += "== " + file.filename().string() + "\n" + content(file);
      std::filesystem::remove(file);
    }
    const auto beside = std::filesystem::path(input).replace_extension(".expected");
    const std::string expected = content(beside);
    if (expected.empty()) std::ofstream(beside) << seen;
    EXPECT_EQ(expected, seen) << beside;
  }
}

TEST_F(SamplingTest, IsInterruptedWithinTheNextWait) {
  for (int moment = 100; moment < 4000; moment += 100) {
    const std::string seen =
        transcript({{0, "junk\r"}, {moment, INTERRUPT}, {4000, "\r"}}, sample_on);
    EXPECT_EQ(moment, end_of_transcript) << seen;
    EXPECT_EQ("! sampling\n", seen.substr(seen.size() - 11));
  }
}

TEST_F(SamplingTest, EndsAfterAMinuteWithoutDataCountedAgainFromEachRecord) {
  const std::string values = "  1.23  -0.45   0.07  343.21   21.50 0 14\r";
  const std::string seen = transcript(
      {{500, "1.000000000,03," + values}, {59'900, "2.000000000,00," + values}}, sample_on);
  EXPECT_EQ(119'900, end_of_transcript);
  for (const char* part :
       {"timeout=1\n=> Disconnected\n[1000ms] timeout=2\n", "timeout=59\n[400ms] => Connected\n",
        "timeout=59\n[1000ms] ! TIMEOUT: sampling for id\n"}) {
    EXPECT_NE(std::string::npos, seen.find(part)) << part << seen;
  }
}

}  // namespace sonic
