#pragma once

#include <string>
#include <vector>

#include "app/configuration.h"

namespace sonic {

/// The map as the text of a JSON object, styled over several lines, each value a string.
std::string SonicInfo_as_string(const config_map_t& info);

/// Takes the members `names` of the first entry of "uarts" in the logger's JSON configuration file
/// into `info`; those that the entry lacks, or all where there is no entry, keep their value.
/// Throws the JSON library's exception for a file that is missing or has values of other kinds
/// there, and std::out_of_range ("map::at") for a name not in `info`.
void sonic_info_update(config_map_t& info, const std::vector<std::string>& names,
                       const std::string& path);

/// The file that describes the instrument to other programs on the logger: there only while this
/// object lives.
class SonicInfoFile {
 public:
  /// Creates nothing; an empty path means no file.
  SonicInfoFile(const std::string& path);
  ~SonicInfoFile();
  SonicInfoFile(const SonicInfoFile&) = delete;
  SonicInfoFile& operator=(const SonicInfoFile&) = delete;

  /// Replaces the file. Best effort: a file that cannot be opened is not reported.
  void write(const config_map_t& info);

  /// What `write` puts into the file, but for the line feed at its end.
  static std::string _format(const config_map_t& info);

 private:
  std::string _path;
};

}  // namespace sonic
