#pragma once

#include <string>

namespace sonic {

/// A symbolic link to a pseudo-terminal, under the name that the port's user knows. Gone with this
/// object, unless another program has made it its own.
class PortLink {
 public:
  /// Replaces a link to a pseudo-terminal, in one step. Throws std::runtime_error where anything
  /// else is at `path`, and when the link cannot be made.
  PortLink(const std::string& path, const std::string& terminal);
  ~PortLink();
  PortLink(const PortLink&) = delete;
  PortLink& operator=(const PortLink&) = delete;

 private:
  std::string _path;
  std::string _terminal;
};

}  // namespace sonic
