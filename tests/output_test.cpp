// Data files, headers, JSON records and the information file.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <fstream>
#include <type_traits>

#include "output/data_file.h"
#include "output/data_header.h"
#include "output/json_record.h"
#include "output/sonic_info.h"
#include "tests/cases.h"
#include "tests/recorded_calls.h"
#include "tests/support.h"

namespace sonic {

namespace {

using OutputTest = HomeTest;

std::string path(const std::string& name) { return home_folder + "/" + name; }

void json(Serial&, const std::string& texts, bool) {
  const size_t end = texts.find(" | ");
  print(s2json(texts.substr(0, end), texts.substr(end + 3), ','));
}

std::string basic_header(const std::string& record) { return data_header_t().header(record); }

std::string serial_number(const std::string& configuration) {
  std::ofstream(path("config.json")) << configuration;
  config_map_t info = {{"serial_number", "unknown"}};
  sonic_info_update(info, {"serial_number"}, path("config.json"));
  return info.at("serial_number");
}

const bool CASES = add_cases<HomeTest>(
    "Output", "output",
    {{"json", json}, {"header", shown(basic_header)}, {"serial_number", shown(serial_number)}});

}  // namespace

TEST_F(OutputTest, LogOnlyAppends) {
  static_assert(!std::is_constructible_v<logging, const char*>, "a name is no flag");
  logging file;
  unsigned char byte = 0;
  EXPECT_EQ("logging error '': Bad file descriptor", thrown_by([&] { file.log(&byte, 1); }));
  EXPECT_EQ("logging error no file open", thrown_by([&] { file.log("x", true); }));
  file.new_log(path("a"));
  file.log("one", true);
  file.new_log(path("a"));
  file.log(std::string("t\0wo", 4), false);
  EXPECT_EQ(std::string("one\nt\0wo", 8), content(path("a")));
  EXPECT_NE("nothing thrown", thrown_by([&] { file.new_log(path("no/b")); }));
  EXPECT_FALSE(file.is_open());
}

TEST_F(OutputTest, ALineThatDoesNotFitIsAnError) {
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, SIG_IGN);
  const rlimit four_bytes{4, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &four_bytes);
  logging file;
  file.new_log(path("a"));
  EXPECT_EQ("logging error '" + path("a") + "': partial write",
            thrown_by([&] { file.log("12345", true); }));
  EXPECT_EQ("logging error '" + path("a") + "': File too large",
            thrown_by([&] { file.log("6", true); }));
  setrlimit(RLIMIT_FSIZE, &before);
}

TEST_F(OutputTest, InformationFileReplacesWhatAKilledProgramLeft) {
  SonicInfoFile file(path("info.json"));
  std::ofstream(path("info.json")) << "long text to be truncated";
  file.write({});
  EXPECT_EQ("{}\n", content(path("info.json")));
}

}  // namespace sonic
