#pragma once

#include <string>

namespace sonic {

/// Produces the tab-separated line that names the columns of the data lines.
class data_header_t {
 public:
  static const std::string DATA_HEADER_LEADER;
  static const std::string DATA_HEADER_SONIC;
  static const std::string DATA_HEADER_TRAILER;
  static const std::string DATA_HEADER_BASIC;

  /// The header line for a record of this instrument; here, whatever the record, the basic one.
  virtual std::string header(const std::string& record);

  /// STAYS.
  static std::string basic_header();

  /// Diagnostic: prints the text and the number of its commas, which it returns. STAYS.
  static unsigned int count_commas(const std::string& text);
};

/// The R. M. Young 81000's columns: the basic ones and the speed of sound.
class young_81000_data_header : public data_header_t {
 public:
  std::string header(const std::string& record) override;

 private:
  std::string _columns;  // for columns that an instrument announces itself; this one does not
};

}  // namespace sonic
