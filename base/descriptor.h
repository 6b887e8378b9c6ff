#pragma once

#include <unistd.h>

#include <utility>

namespace sonic {

/// Owns a file descriptor.
class Descriptor {
 public:
  /// -1: none.
  explicit Descriptor(int descriptor = -1) : _descriptor(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : _descriptor(std::exchange(other._descriptor, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(_descriptor, other._descriptor);
    return *this;
  }
  ~Descriptor() {
    if (is_open()) close(_descriptor);
  }

  int get() const { return _descriptor; }
  bool is_open() const { return _descriptor != -1; }

 private:
  int _descriptor;
};

}  // namespace sonic
