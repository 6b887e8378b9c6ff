#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct mosquitto;

namespace sonic {

/// Publishes records as JSON objects and status texts to the broker on this logger, always with QoS
/// 1 and the retain flag. libmosquitto's own thread connects, delivers and reconnects. Without a
/// connection the library keeps a message for later even where it reports "not connected". Used
/// from the main thread only.
class MQTTPublisher {
 public:
  /// Initialises libmosquitto for a caller that wants that done explicitly; nothing here needs it.
  /// STAYS.
  class mosquitto_lib {
   public:
    /// Throws std::runtime_error when the library refuses.
    mosquitto_lib();
    ~mosquitto_lib();
    mosquitto_lib(const mosquitto_lib&) = delete;
    mosquitto_lib& operator=(const mosquitto_lib&) = delete;
  };

  /// Creates the client with `will` as its last will on the status topic and requests the
  /// connection without waiting for it. A broker that is down is not an error; where not even the
  /// request can be made there is no client, and publishes fail. Throws std::runtime_error when the
  /// client or its thread cannot be made.
  MQTTPublisher(const std::string& client_id, const std::string& topic,
                const std::string& topic_fast, const std::string& header,
                const std::string& topic_status, const std::string& will, bool fast_pub,
                bool console_only);
  /// Sends DISCONNECT and stops the network thread at once: either may be first. If DISCONNECT gets
  /// through, the broker discards the will and the last status text stays on its topic; if not, the
  /// broker publishes the will. Other messages not yet delivered are lost.
  ~MQTTPublisher();
  MQTTPublisher(const MQTTPublisher&) = delete;
  MQTTPublisher& operator=(const MQTTPublisher&) = delete;

  /// The tab-separated column names of the lines that follow; an empty text changes nothing.
  void set_header(const std::string& header);

  /// Publishes one tab-separated data line: on the topic unless that already carries a record with
  /// this stamp, and, unless that failed, on the fast topic if it is on. In console-only mode
  /// it is printed instead. A failure is printed.
  void publish(unsigned long long time_stamp, const std::string& line);

  /// Publishes `text` on the status topic: 0, or -1 after printing the failure.
  int status(const std::string& text);

 private:
  void _init_mosquitto(const std::string& will);
  void _destroy();
  int _publish(const std::string& topic, const std::string& payload);
  static std::string _mosquitto_error(const std::string& where, const std::string& what, int code);
  static void _on_connect(mosquitto* mosq, void* obj, int code);
  static void _on_publish(mosquitto* mosq, void* obj, int message_id);

  std::string _client_id;
  std::string _topic;
  std::string _topic_fast;
  std::string _topic_status;
  bool _console_only;
  bool _fast_pub;
  std::vector<std::string> _header;
  uint64_t _last_time_stamp = ~uint64_t{0};
  mosquitto* _client = nullptr;
  bool _started = false;
};

}  // namespace sonic
