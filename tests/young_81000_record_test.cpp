#include "records/young_81000_record.h"

#include <gtest/gtest.h>

#include "cases.h"
#include "records/dump.h"

namespace sonic {

namespace {

void extract(Serial&, const std::string& line, bool verbose) {
  const parsed_data r = young_81000_extract(line, young_81000_record_parser, verbose);
  if (!r.valid) return;
  std::cout << "= ts='" << r.ts << "' sec=" << r.sec << " nsec=" << r.nsec << " raw='" << r.raw
            << "' data='" << r.data << "' checks=" << std::hex << r.ts_checksum << ' ' << r.checksum
            << std::dec << std::endl;
}

void printable(Serial&, const std::string& text, bool verbose) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  const auto length = static_cast<unsigned int>(text.size());
  print(young_81000_extractor(bytes, length, verbose));
}

void dump_text(Serial&, const std::string& text, bool) {
  dump(text.data(), static_cast<int>(text.size()));
}

}  // namespace

TEST(RecordTest, Cases) {
  play("records", {{"extract", extract}, {"printable", printable}, {"dump", dump_text}});
}

}  // namespace sonic
