#pragma once

#include <sys/types.h>

#include <string>

namespace sonic {

/// The two effective users of the process: the one it was started as (root, who may open the port,
/// write the sysfs attribute and raise the priority) and the device user, as whom it does its work.
/// The switch concerns the whole process and is made from the main thread only.
struct Priviledges {
  uid_t privileged_id = static_cast<uid_t>(-1);
  uid_t user_id = static_cast<uid_t>(-1);
  uid_t current_id = static_cast<uid_t>(-1);

  /// Each prints its line, also when there is nothing to switch, and throws std::runtime_error when
  /// the switch is refused.
  void raise();
  void lower();
};

/// Does `action` with raised privileges. When it throws they stay raised: the program ends then,
/// and taking it down needs them again.
template <typename Action>
void with_raised_privileges(Priviledges& p, Action action) {
  p.raise();
  action();
  p.lower();
}

/// The effective user at the time of the call as the privileged and the current one, and the user
/// `name` as the device user. Throws std::runtime_error when there is no such user. Switches
/// nothing.
Priviledges priviledges_for_user(const std::string& name);

}  // namespace sonic
