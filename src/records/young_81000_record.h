#pragma once

#include <cstdint>
#include <string>

#include "records/regex.h"

namespace sonic {

/// One record as the port driver delivers it, without its delimiter:
///   seconds "." nanoseconds "," checksum "," u v w sos ts diag " " checksum
/// The first checksum covers the stamp with its comma, the second the data from the first
/// character after the second comma to the last digit of diag.
struct parsed_data {
  bool valid =
      false;       ///< the line matched and both checksums are right; if not, nothing else counts
  std::string ts;  ///< stamp with its comma: "123.456,"
  uint32_t ts_checksum = 0;  ///< as received
  uint64_t sec = 0;          ///< record time, whole seconds of the Unix epoch
  uint64_t nsec = 0;         ///< nanoseconds within that second, as written: "5" gives 5
  std::string raw;           ///< the five numbers and diag, exactly as received
  uint32_t checksum = 0;     ///< as received
  std::string data;          ///< `raw` and the one space after it: what is transformed and written
};

/// How an instrument's records are parsed: the pattern, and what makes a record of its sub-matches.
struct data_record_parser_t {
  const regex* pattern;
  parsed_data (*assembler)(const std::string& line, const regex::submatches& submatches);
};

extern const std::string young_81000_input_format;
extern const regex young_81000_input_re;
extern const data_record_parser_t young_81000_record_parser;

/// Matches a line, verifies both checksums and returns the record. A line that fails gives a
/// record that is not valid, after a message on standard output (an empty line: none). Throws
/// std::out_of_range ("stoull") for a stamp that fits no 64-bit number.
parsed_data young_81000_extract(const std::string& line, const data_record_parser_t& parser,
                                bool verbose);

/// The first run of printable characters, carriage returns and line feeds in a raw reply: a reply
/// is cut at its first binary byte. `verbose` is not used.
std::string young_81000_extractor(const unsigned char* bytes, unsigned int length, bool verbose);

}  // namespace sonic
