#pragma once

#include <string>

#include "output/data_header.h"
#include "records/young_81000_record.h"

namespace sonic {

/// What the sampling loop needs to know about one kind of instrument. What is pointed to is global
/// and not owned.
struct SonicOps {
  std::string delimiter;  ///< ends a record on the line
  const data_record_parser_t* parser;
  parsed_data (*extract)(const std::string& line, const data_record_parser_t& parser, bool verbose);
  data_header_t* header;
  std::string (*transform)(const std::string& data);  ///< lays out a record's data as fields
};

/// Those of the R. M. Young 81000. The program never changes them.
extern SonicOps young_81000_ops;

}  // namespace sonic
