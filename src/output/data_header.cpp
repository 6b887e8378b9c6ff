#include "output/data_header.h"

#include <algorithm>
#include <iostream>

#include "records/line_tags.h"

namespace sonic {

const std::string data_header_t::DATA_HEADER_LEADER =
    std::string(HEADER_TAG) + "\tSECONDS\tNANOSECONDS";
const std::string data_header_t::DATA_HEADER_SONIC = "u\tv\tw\tts";
const std::string data_header_t::DATA_HEADER_TRAILER = "diag\tchk";
const std::string data_header_t::DATA_HEADER_BASIC =
    DATA_HEADER_LEADER + "\t" + DATA_HEADER_SONIC + "\t" + DATA_HEADER_TRAILER;

std::string data_header_t::header(const std::string& /*record*/) { return DATA_HEADER_BASIC; }

std::string data_header_t::basic_header() { return DATA_HEADER_BASIC; }

unsigned int data_header_t::count_commas(const std::string& text) {
  std::cout << "count_commas: '" << text << "'" << std::endl;
  const auto commas = std::count(text.begin(), text.end(), ',');
  std::cout << "count_commas: n_commas=" << commas << std::endl;
  return static_cast<unsigned int>(commas);
}

std::string young_81000_data_header::header(const std::string& /*record*/) {
  return DATA_HEADER_LEADER + "\tu\tv\tw\tsos\tts\t" + DATA_HEADER_TRAILER;
}

}  // namespace sonic
