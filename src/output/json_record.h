#pragma once

#include <string>
#include <vector>

namespace sonic {

/// One data line as a one-line JSON object: header names are the keys, the fields the values, in
/// column order, without the line tag and the last column, the checksum. Numbers stand as the
/// instrument wrote them, without a leading "+"; status words are quoted. Nothing is escaped or
/// checked. Throws std::runtime_error when the counts differ.
std::string s2json(const std::vector<std::string>& header, const std::vector<std::string>& data);
/// The same of a line, and of a header line, whose fields are separated by `separator`. STAYS.
std::string s2json(const std::vector<std::string>& header, const std::string& data, char separator);
std::string s2json(const std::string& header, const std::string& data, char separator);

}  // namespace sonic
