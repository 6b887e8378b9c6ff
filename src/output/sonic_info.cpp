#include "output/sonic_info.h"

#include <json/json.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace sonic {

namespace {

constexpr const char* PORTS = "uarts";
constexpr Json::ArrayIndex FIRST = 0;

}  // namespace

std::string SonicInfo_as_string(const config_map_t& info) {
  Json::Value object(Json::objectValue);
  for (const auto& [key, value] : info) object[key] = value;
  std::ostringstream text;
  text << object;
  return text.str();
}

void sonic_info_update(config_map_t& info, const std::vector<std::string>& names,
                       const std::string& path) {
  std::ifstream file(path);
  Json::Value device;
  file >> device;
  const Json::Value& entry = device[PORTS][FIRST];
  for (const auto& name : names) {
    std::string& value = info.at(name);
    if (entry.isMember(name)) value = entry.get(name, value).asString();
  }
}

SonicInfoFile::SonicInfoFile(const std::string& path) : _path(path) {}

SonicInfoFile::~SonicInfoFile() {
  if (!_path.empty()) unlink(_path.c_str());
}

void SonicInfoFile::write(const config_map_t& info) {
  std::ofstream(_path, std::ios::out | std::ios::trunc) << _format(info) << '\n';
}

std::string SonicInfoFile::_format(const config_map_t& info) { return SonicInfo_as_string(info); }

}  // namespace sonic
