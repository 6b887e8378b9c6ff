#include "output/json_record.h"

#include <stdexcept>
#include <string_view>

#include "records/line_tags.h"
#include "records/text.h"

namespace sonic {

namespace {

// A name is skipped or quoted when it occurs anywhere in these texts.
const std::string SKIPPED = std::string(HEADER_TAG) + ",chk";
constexpr std::string_view QUOTED = "diag,sta,std,";

constexpr size_t TYPICAL_LENGTH = 256;

bool is_listed(std::string_view list, const std::string& name) {
  return list.find(name) != std::string_view::npos;
}

}  // namespace

std::string s2json(const std::vector<std::string>& header, const std::vector<std::string>& data) {
  if (data.size() != header.size()) {
    throw std::runtime_error("s2json: header (" + std::to_string(header.size()) + ") / data (" +
                             std::to_string(data.size()) + ") mismatch");
  }
  std::string json = "{ ";
  json.reserve(TYPICAL_LENGTH);
  const size_t columns = header.empty() ? 0 : header.size() - 1;  // the last one is the checksum
  for (size_t i = 0; i < columns; ++i) {
    const std::string& name = header[i];
    const std::string& value = data[i];
    if (is_listed(SKIPPED, name)) continue;
    json.append("\"").append(name).append("\" : ");
    if (is_listed(QUOTED, name)) {
      json.append("\"").append(value).append("\"");
    } else {
      json.append(value, value[0] == '+' ? 1 : 0, std::string::npos);
    }
    if (i + 1 < columns) json += ", ";
  }
  json += " }";
  return json;
}

std::string s2json(const std::vector<std::string>& header, const std::string& data,
                   char separator) {
  return s2json(header, split(data, separator));
}

std::string s2json(const std::string& header, const std::string& data, char separator) {
  return s2json(split(header, separator), data, separator);
}

}  // namespace sonic
