#pragma once

#include <string>

#include "app/priviledges.h"

namespace sonic {

/// Declares that no instrument is attached.
extern const char* const SONIC_TYPE_UNDEFINED;

/// Writes `value`, with no line ending, into the attribute file `path` with raised privileges. A
/// file that cannot be opened is not reported; a failed change of privileges throws.
void sonic_type_set(const std::string& value, const std::string& path, Priviledges& p);

/// The first word of the file, or an empty text when it cannot be opened. STAYS.
std::string sonic_type_get(const std::string& path);

/// Declares to the logger which kind of instrument is attached to a tty, for as long as the program
/// runs: the attribute is "UNDEFINED" from construction to `set`, and again after destruction.
class SonicType {
 public:
  /// `p` must outlive this object.
  SonicType(const std::string& type, const std::string& path, Priviledges& p);
  /// A refused switch of the user ends the program here (std::terminate).
  ~SonicType();
  SonicType(const SonicType&) = delete;
  SonicType& operator=(const SonicType&) = delete;

  /// Writes the type. Throws as sonic_type_set() does.
  void set();
  /// STAYS.
  std::string get() const;

 private:
  std::string _type;
  std::string _path;
  Priviledges& _privileges;
};

}  // namespace sonic
