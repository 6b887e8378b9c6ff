#include "serial/sonic_type.h"

#include <fstream>

namespace sonic {

const char* const SONIC_TYPE_UNDEFINED = "UNDEFINED";

void sonic_type_set(const std::string& value, const std::string& path, Priviledges& p) {
  std::ofstream file;
  with_raised_privileges(p, [&] {
    // No truncation: a sysfs attribute takes each write as its new value.
    file.open(path, std::ios::app);
    file << value;
  });
  // The text reaches the file when it closes, here. Permission was checked when it was opened.
}

std::string sonic_type_get(const std::string& path) {
  std::ifstream file(path);
  std::string word;
  file >> word;
  return word;
}

SonicType::SonicType(const std::string& type, const std::string& path, Priviledges& p)
    : _type(type), _path(path), _privileges(p) {
  sonic_type_set(SONIC_TYPE_UNDEFINED, _path, _privileges);
}

SonicType::~SonicType() { sonic_type_set(SONIC_TYPE_UNDEFINED, _path, _privileges); }

void SonicType::set() { sonic_type_set(_type, _path, _privileges); }

std::string SonicType::get() const { return sonic_type_get(_path); }

}  // namespace sonic
