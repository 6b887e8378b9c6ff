// One port record, as it came and with the right checksums, all the way to what is published.

#include <json/json.h>

#include <cmath>

#include "output/json_record.h"
#include "properties.h"
#include "records/text.h"

// Numbers are published as the instrument wrote them. One of u to ts beyond the range of a double
// is refused here. One that begins with a zero and a further digit is no JSON; this reader takes
// it, with its value, a strict one refuses it. Every other record is JSON to any reader.
static void take(std::string line) {
  Printed printed;
  parsed_data record;
  thrown_by([&] { record = young_81000_extract(line, young_81000_record_parser, true); });
  if (!record.valid) return;
  line.erase(std::min(line.find('\0'), line.size()));  // nothing sees what follows a zero byte
  for (char& c : line) c = static_cast<char>(tolower(c));
  assert(line == with_checksums(line));

  const auto names = split(young_81000_ops.header->header(""), '\t');
  const auto fields = split(data_line(record), '\t');
  if (fields.size() != names.size()) return;  // numbers may touch; such a record is not published
  const auto value = [&](size_t i) { return strtod(fields[i].c_str(), nullptr); };
  bool readable = true;
  for (size_t i = 3; i < 8; ++i) readable = readable && std::isfinite(value(i));
  Json::Value json;
  std::istringstream text(s2json(names, fields));
  assert(Json::parseFromStream(Json::CharReaderBuilder(), text, &json, nullptr) == readable);
  for (size_t i = 1; readable && i < 9; ++i) {
    const Json::Value& read = json[names[i]];
    assert(i < 3 || i == 8 ? read.asString() == fields[i] : read.asDouble() == value(i));
  }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  take(std::string(data, data + size));
  take(with_checksums(std::string(data, data + size)));
  return 0;
}
