// Data files, headers, JSON records and the information file.

#include <gtest/gtest.h>

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

TEST_F(OutputTest, FilesAreNamedByTheHalfHour) {
  const struct {
    unsigned long long t, last, next;
  } cases[] = {
      {0, 0, 1800}, {1799, 0, 1800}, {1800, 1800, 3600}, {1700001234, 1700001000, 1700002800}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.last, time_last_half_hour(c.t));
    EXPECT_EQ(c.next, time_next_half_hour(c.t));
  }
  EXPECT_EQ("/home/qelta/device/1700001000.A.B", sonic_data_filename(1700001234, "A", "B"));
}

TEST_F(OutputTest, LogOnlyAppendsAndSaysWhatFailed) {
  logging file;
  EXPECT_EQ("logging error no file open", thrown_by([&] { file.log("x", true); }));
  file.new_log(path("a"));
  file.log("one", true);
  file.new_log(path("a"));
  file.log(std::string("t\0wo", 4), false);
  EXPECT_EQ(std::string("one\nt\0wo", 8), content(path("a")));

  EXPECT_EQ("logging error opening '" + path("no/b") + "': No such file or directory",
            thrown_by([&] { file.new_log(path("no/b")); }));
  EXPECT_FALSE(file.is_open());
  file.new_log("/dev/full");
  EXPECT_EQ("logging error '/dev/full': No space left on device",
            thrown_by([&] { file.log("x", true); }));
}

TEST_F(OutputTest, ConsoleOnlyLogPrintsALineForEveryText) {
  Printed printed;
  logging console(true);
  console.new_log(path("a"));
  console.log("one", false);
  EXPECT_EQ("logging: switching to '" + path("a") + "'\none\n", printed.text());
  EXPECT_NE(0, access(path("a").c_str(), F_OK));
  unsigned char byte = 0;
  EXPECT_EQ("logging error '': Bad file descriptor", thrown_by([&] { console.log(&byte, 1); }));
}

TEST_F(OutputTest, HeadersNameTheColumns) {
  EXPECT_EQ("DATA_SONICH\tSECONDS\tNANOSECONDS\tu\tv\tw\tts\tdiag\tchk",
            data_header_t().header("x"));
  EXPECT_EQ("DATA_SONICH\tSECONDS\tNANOSECONDS\tu\tv\tw\tsos\tts\tdiag\tchk",
            young_81000_data_header().header(""));
  Printed printed;
  EXPECT_EQ(3U, data_header_t::count_commas("a,b,,c"));
  EXPECT_EQ("count_commas: 'a,b,,c'\ncount_commas: n_commas=3\n", printed.text());
}

TEST_F(OutputTest, JsonLeavesOutTagAndCheckAndQuotesStatusWords) {
  const struct {
    std::string header, data, json;
  } cases[] = {
      {"DATA_SONICH,SECONDS,u,ts,diag,chk", "DATA_SONIC,17,+0.05,-1,04,7",
       R"({ "SECONDS" : 17, "u" : 0.05, "ts" : -1, "diag" : "04" })"},
      {"u,v,chk", "+,null,x", R"({ "u" : , "v" : null })"},
      {"u,DATA,chk", "1,2,3", R"({ "u" : 1,  })"},
      {"DATA,u,,v,x", "1,2,3,4,5", R"({ "u" : 2, "v" : 4 })"},
      {"u", "1", "{  }"},
      {"", "", "{  }"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.json, s2json(c.header, c.data, ',')) << c.header;
  EXPECT_EQ("s2json: header (2) / data (3) mismatch",
            thrown_by([] { s2json("a b", "1 2 3", ' '); }));
}

TEST_F(OutputTest, InformationFileLivesAsLongAsItsObject) {
  {
    SonicInfoFile file(path("info.json"));
    file.write({{"a", "long text to be truncated"}});
    file.write({{"config", "1\n\"x\""}, {"output_rate", "32"}});
    EXPECT_EQ("{\n\t\"config\" : \"1\\n\\\"x\\\"\",\n\t\"output_rate\" : \"32\"\n}\n",
              content(path("info.json")));
    file.write({});
    EXPECT_EQ("{}\n", content(path("info.json")));
  }
  EXPECT_NE(0, access(path("info.json").c_str(), F_OK));
  SonicInfoFile(path("no/info.json")).write({});
}

TEST_F(OutputTest, DeviceConfigurationGivesWhatItsFirstEntryHas) {
  const struct {
    std::string json, serial;  // a serial of "throws" stands for the library's exception
  } cases[] = {
      {R"({"uarts": [{"serial_number": "01234"}, {"serial_number": "x"}]})", "01234"},
      {R"({"uarts": [{"serial_number": 1234}]})", "1234"},
      {R"({"uarts": [{"other": "x"}]})", "unknown"},
      {R"({"uarts": []})", "unknown"},
      {"{}", "unknown"},
      {R"({"uarts": {"serial_number": "x"}})", "throws"},
      {R"({"uarts": [{"serial_number": ["x"]}]})", "throws"},
      {R"({"uarts": [7]})", "throws"},
      {"[]", "throws"},
      {"", "throws"},
      {"serial_number=1", "throws"},
  };
  for (const auto& c : cases) {
    std::ofstream(path("config.json")) << c.json;
    config_map_t info = {{"serial_number", "unknown"}};
    const std::string thrown =
        thrown_by([&] { sonic_info_update(info, {"serial_number"}, path("config.json")); });
    EXPECT_EQ(c.serial == "throws", thrown != "nothing thrown") << c.json << thrown;
    EXPECT_EQ(c.serial == "throws" ? "unknown" : c.serial, info.at("serial_number")) << c.json;
  }
  config_map_t info;
  EXPECT_NE("nothing thrown", thrown_by([&] { sonic_info_update(info, {}, path("none")); }));
  std::ofstream(path("config.json")) << "{}";
  EXPECT_EQ("map::at", thrown_by([&] { sonic_info_update(info, {"x"}, path("config.json")); }));
}

}  // namespace sonic
