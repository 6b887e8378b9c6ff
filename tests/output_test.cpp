// Data files, headers, JSON records and the information file.

#include <gtest/gtest.h>

#include <array>
#include <fstream>

#include "output/data_file.h"
#include "output/data_header.h"
#include "output/json_record.h"
#include "output/sonic_info.h"
#include "support.h"

namespace sonic {

namespace {

class OutputTest : public ::testing::Test {
 protected:
  OutputTest() : _folder(mkdtemp(_template)) {}
  ~OutputTest() override { EXPECT_EQ(0, system(("rm -r " + _folder).c_str())); }

  std::string path(const std::string& name) const { return _folder + "/" + name; }

  static std::string content(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  char _template[32] = "/tmp/sonicd-test.XXXXXX";
  const std::string _folder;
};

}  // namespace

TEST_F(OutputTest, LogOnlyAppends) {
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

TEST_F(OutputTest, HeadersNameTheColumns) {
  EXPECT_EQ("DATA_SONICH\tSECONDS\tNANOSECONDS\tu\tv\tw\tts\tdiag\tchk",
            data_header_t().header("x"));
}

TEST_F(OutputTest, JsonLeavesOutTagAndCheckAndQuotesStatusWords) {
  const std::array<std::string, 3> cases[] = {
      {"DATA_SONICH,SECONDS,u,ts,diag,chk", "DATA_SONIC,17,+0.05,-1,04,7",
       R"({ "SECONDS" : 17, "u" : 0.05, "ts" : -1, "diag" : "04" })"},
      {"u,v,chk", "+,null,x", R"({ "u" : , "v" : null })"},
      {"u,DATA,chk", "1,2,3", R"({ "u" : 1,  })"},
      {"DATA,u,,v,x", "1,2,3,4,5", R"({ "u" : 2, "v" : 4 })"},
      {"u", "1", "{  }"},
      {"", "", "{  }"}};
  for (const auto& [header, data, json] : cases) EXPECT_EQ(json, s2json(header, data, ','));
  EXPECT_EQ("s2json: header (2) / data (3) mismatch",
            thrown_by([] { s2json("a b", "1 2 3", ' '); }));
}

TEST_F(OutputTest, InformationFileReplacesWhatAKilledProgramLeft) {
  SonicInfoFile file(path("info.json"));
  std::ofstream(path("info.json")) << "long text to be truncated";
  file.write({});
  EXPECT_EQ("{}\n", content(path("info.json")));
}

TEST_F(OutputTest, DeviceConfigurationGivesWhatItsFirstEntryHas) {
  const std::pair<std::string, std::string> cases[] = {
      {R"({"uarts": [{"serial_number": "01234"}, {"serial_number": "x"}]})", "01234"},
      {R"({"uarts": [{"other": "x"}]})", "unknown"},
      {R"({"uarts": []})", "unknown"},
      {"{}", "unknown"}};
  for (const auto& [json, serial] : cases) {
    std::ofstream(path("config.json")) << json;
    config_map_t info = {{"serial_number", "unknown"}};
    sonic_info_update(info, {"serial_number"}, path("config.json"));
    EXPECT_EQ(serial, info.at("serial_number")) << json;
  }
}

}  // namespace sonic
