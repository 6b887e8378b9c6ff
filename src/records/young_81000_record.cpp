#include "records/young_81000_record.h"

#include <iomanip>
#include <iostream>

#include "records/checksum.h"
#include "records/dump.h"

namespace sonic {

// Static initialisation follows the order within this file: the pattern text, then the pattern.
const std::string young_81000_input_format =
    "^(([[:digit:]]+)\\.([[:digit:]]+),)([0-9a-fA-F]{2}),"
    "((([ ]*(-?[0-9]+\\.[0-9]+)){5}([ ]+[0-9]+)) )[ ]*([0-9a-fA-F]{2})$";

const regex young_81000_input_re(young_81000_input_format);

namespace {

// Groups of the pattern.
constexpr size_t TS = 1;
constexpr size_t SEC = 2;
constexpr size_t NSEC = 3;
constexpr size_t TS_CHECKSUM = 4;
constexpr size_t DATA = 5;
constexpr size_t RAW = 6;
constexpr size_t CHECKSUM = 10;

constexpr int HEXADECIMAL = 16;

parsed_data young_81000_input_assembler(const std::string& line,
                                        const regex::submatches& submatches) {
  const auto group = [&](size_t i) { return submatch_text(line, submatches.at(i)); };
  parsed_data record;
  record.ts = group(TS);
  record.sec = std::stoull(group(SEC));
  record.nsec = std::stoull(group(NSEC));
  record.ts_checksum = static_cast<uint32_t>(std::stoull(group(TS_CHECKSUM), nullptr, HEXADECIMAL));
  record.raw = group(RAW);
  record.data = group(DATA);
  record.checksum = static_cast<uint32_t>(std::stoul(group(CHECKSUM), nullptr, HEXADECIMAL));
  return record;
}

unsigned int xor_of(const std::string& text) {
  return xor_checksum(text.data(), static_cast<unsigned int>(text.size()));
}

// Writes both checksums as two hexadecimal digits, each after its label.
void print_checksums(const char* got, unsigned int received, const char* expected,
                     unsigned int computed) {
  std::cout << std::hex << std::setfill('0') << got << std::setw(2) << received << expected
            << std::setw(2) << computed << std::dec << std::setfill(' ') << std::endl;
}

void print_record(const std::string& line, const parsed_data& record) {
  std::cout << "b='" << line << "'" << std::endl;
  std::cout << " sec=" << record.sec << std::endl;
  std::cout << " nsec=" << record.nsec << std::endl;
  std::cout << " raw='" << record.raw << "'" << std::endl;
  std::cout << " data='" << record.data << "'" << std::endl;
  std::cout << " checksum=" << std::hex << record.checksum << std::dec << std::endl;
}

bool is_text(unsigned char byte) {
  return byte == '\n' || byte == '\r' || (byte >= 32 && byte <= 126);
}

}  // namespace

const data_record_parser_t young_81000_record_parser = {&young_81000_input_re,
                                                        young_81000_input_assembler};

parsed_data young_81000_extract(const std::string& line, const data_record_parser_t& parser,
                                bool verbose) {
  if (verbose) dump(line.data(), static_cast<int>(line.size()));
  if (line.empty()) return {};

  regex::submatches submatches;
  if (!parser.pattern->is_match(line, submatches)) {
    std::cout << "'" << line << "' is a bad record format" << std::endl;
    return {};
  }
  parsed_data record = parser.assembler(line, submatches);

  const unsigned int ts_computed = xor_of(record.ts);
  if (ts_computed != record.ts_checksum) {
    std::cout << "timestamp checksum mismatch, ts='" << record.ts << "'";
    print_checksums(", got=", record.ts_checksum, ", computed=", ts_computed);
    return {};
  }
  if (verbose) print_record(line, record);

  if (record.raw.empty()) {
    std::cout << "no data" << std::endl;
    return {};
  }
  const unsigned int computed = xor_of(record.raw);
  if (verbose) print_checksums("chksum cmp: received=", record.checksum, ", computed=", computed);
  if (computed != record.checksum) {
    print_checksums("checksum error: got=", record.checksum, ", expected=", computed);
    return {};
  }
  record.valid = true;
  return record;
}

std::string young_81000_extractor(const unsigned char* bytes, unsigned int length,
                                  bool /*verbose*/) {
  const unsigned char* const end = bytes + length;
  const unsigned char* first = bytes;
  while (first != end && !is_text(*first)) ++first;
  const unsigned char* last = first;
  while (last != end && is_text(*last)) ++last;
  return std::string(first, last);
}

}  // namespace sonic
