#pragma once

#include <string>

#include "mqtt/mqtt_publisher.h"
#include "mqtt/notifier.h"

namespace sonic {

/// Forwards reports to the publisher's status topic. `publisher` must outlive this object.
class MQTTSerialStatusNotifier : public Notifier {
 public:
  explicit MQTTSerialStatusNotifier(MQTTPublisher& publisher) : _publisher(publisher) {}

  void notify(const std::string& text) override { _publisher.status(text); }
  void notified(bool value) override { _notified = value; }
  bool notified() const override { return _notified; }

 private:
  MQTTPublisher& _publisher;
  bool _notified = false;
};

}  // namespace sonic
