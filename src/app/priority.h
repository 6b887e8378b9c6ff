#pragma once

#include "app/priviledges.h"

namespace sonic {

/// Raises the priority of the process, under raised privileges.
class Priority {
 public:
  /// `p` must outlive this object; `nice` is a nice value, -20 to 19.
  Priority(Priviledges& p, int nice);

  /// Sets the nice value of the process. Privileges are lowered again also after a failure, which
  /// throws std::runtime_error.
  void set(int value);
  /// The same with the value given at construction.
  void set();

 private:
  Priviledges& _privileges;
  int _nice;
};

}  // namespace sonic
