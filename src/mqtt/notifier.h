#pragma once

#include <string>

namespace sonic {

/// The channel on which the instrument code reports the state of the serial link. This one drops
/// it.
class Notifier {
 public:
  virtual void notify(const std::string& /*text*/) {}
  /// Whether the current link state has been announced; callers keep that book.
  virtual void notified(bool /*value*/) {}
  /// STAYS.
  virtual bool notified() const { return false; }

  virtual ~Notifier() = default;
};

}  // namespace sonic
