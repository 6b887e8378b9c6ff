#include "app/inactivity.h"

#include <iostream>
#include <stdexcept>

namespace sonic {

InactivityTerminator::InactivityTerminator(unsigned int limit, const std::string& message)
    : _limit(limit), _message(message) {}

void InactivityTerminator::inc() {
  ++_count;
  if (_count >= _limit) throw std::runtime_error(_message);
  std::cout << "timeout=" << _count << std::endl;
}

void InactivityTerminator::reset() { _count = 0; }

}  // namespace sonic
