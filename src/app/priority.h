#pragma once

#include "app/priviledges.h"

namespace sonic {

/// Raises the priority of the program, under raised privileges.
class Priority {
 public:
  /// `p` must outlive this object; `nice` is a nice value, -20 to 19.
  Priority(Priviledges& p, int nice);

  /// Sets the nice value: on Linux that of the calling thread, and of threads that it starts from
  /// then on. Privileges are lowered again also after a failure, which throws std::runtime_error.
  void set(int value);
  /// The same with the value given at construction. STAYS: the sampling loop, the only one to raise
  /// the priority, names its own value.
  void set();

 private:
  Priviledges& _privileges;
  int _nice;
};

}  // namespace sonic
