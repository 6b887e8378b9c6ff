#include "app/priviledges.h"

#include <pwd.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>

namespace sonic {

namespace {

void switch_user(uid_t id, uid_t& current_id, const char* verb) {
  std::cout << verb << " user to " << id << std::endl;
  if (id != current_id && seteuid(id) != 0) {
    throw std::runtime_error(std::string("Unable to ") + verb + " priviledge");
  }
  current_id = id;
}

}  // namespace

void Priviledges::raise() { switch_user(privileged_id, current_id, "raise"); }

void Priviledges::lower() { switch_user(user_id, current_id, "lower"); }

Priviledges priviledges_for_user(const std::string& name) {
  Priviledges p;
  p.privileged_id = geteuid();
  p.current_id = p.privileged_id;
  const passwd* user = getpwnam(name.c_str());
  if (user == nullptr) throw std::runtime_error("Unable to find username");
  p.user_id = user->pw_uid;
  return p;
}

}  // namespace sonic
