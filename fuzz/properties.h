#pragma once

#include <cassert>
#include <functional>
#include <numeric>

#include "output/sonic_ops.h"
#include "tests/support.h"

namespace sonic {

inline std::string xor_of(const std::string& text) {
  const int sum = std::accumulate(text.begin(), text.end(), 0, std::bit_xor<>()) & 0xFF;
  return {"0123456789abcdef"[sum >> 4], "0123456789abcdef"[sum & 0xF]};
}

/// `line` with both checksums as they should be, found without the program's pattern.
inline std::string with_checksums(std::string line) {
  const size_t stamp = line.find(',') + 1, data = stamp + 3, last = line.rfind(' ');
  if (stamp == 0 || last == std::string::npos || last < data) return line;
  const size_t end = line.find_last_not_of(' ', last) + 1;
  line.replace(last + 1, std::string::npos, xor_of(line.substr(data, end - data)));
  return line.replace(stamp, 2, xor_of(line.substr(0, stamp)));
}

/// What the data file must have of a record.
inline std::string data_line(const parsed_data& record) {
  const std::string time = std::to_string(record.sec) + "\t" + std::to_string(record.nsec);
  const std::string text = "DATA_SONIC\t" + time + "\t" + young_81000_ops.transform(record.data);
  const auto sum = std::to_string(std::accumulate(text.begin(), text.end(), 0) & 0xFF);
  return text + std::string(3 - sum.size(), ' ') + sum;
}

}  // namespace sonic
