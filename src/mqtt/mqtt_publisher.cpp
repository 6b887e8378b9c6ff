#include "mqtt/mqtt_publisher.h"

#include <mosquitto.h>
#include <syslog.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include "base/error.h"
#include "output/json_record.h"
#include "records/text.h"

namespace sonic {

namespace {

constexpr const char* BROKER = "::1";
constexpr int BROKER_PORT = 1883;
constexpr int KEEPALIVE_SECONDS = 60;
constexpr bool CLEAN_SESSION = true;
constexpr int QOS = 1;
constexpr bool RETAIN = true;
constexpr bool FORCE = true;

constexpr char COLUMN_SEPARATOR = '\t';

// Text of an error code; empty for one that has none here.
std::string error_text(int code) {
  switch (code) {
    case MOSQ_ERR_NOMEM:
      return "out of memory ";
    case MOSQ_ERR_PROTOCOL:
      return "protocol error";
    case MOSQ_ERR_INVAL:
      return "input parameters were invalid";
    case MOSQ_ERR_NO_CONN:
      return "not connected";
    case MOSQ_ERR_PAYLOAD_SIZE:
      return "payloadlen too large";
    case MOSQ_ERR_ERRNO: {
      const char* text = strerror(errno);
      return text == nullptr ? "" : text;
    }
    default:
      return "";
  }
}

}  // namespace

MQTTPublisher::mosquitto_lib::mosquitto_lib() {
  if (mosquitto_lib_init() != MOSQ_ERR_SUCCESS) {
    throw std::runtime_error("mosquitto_lib: 'mosquitto_lib_init' fail");
  }
}

MQTTPublisher::mosquitto_lib::~mosquitto_lib() { mosquitto_lib_cleanup(); }

MQTTPublisher::MQTTPublisher(const std::string& client_id, const std::string& topic,
                             const std::string& topic_fast, const std::string& header,
                             const std::string& topic_status, const std::string& will,
                             bool fast_pub, bool console_only)
    : _client_id(client_id),
      _topic(topic),
      _topic_fast(topic_fast),
      _topic_status(topic_status),
      _console_only(console_only),
      _fast_pub(fast_pub) {
  _init_mosquitto(will);
  set_header(header);
  std::cout << "MQTTPublisher: this=" << this << std::endl;
}

MQTTPublisher::~MQTTPublisher() { _destroy(); }

void MQTTPublisher::_init_mosquitto(const std::string& will) {
  _client = mosquitto_new(_client_id.c_str(), CLEAN_SESSION, this);
  if (_client == nullptr) throw_error(errno, {"_init_mosquitto: 'mosquitto_new' fail; "});
  int code = mosquitto_will_set(_client, _topic_status.c_str(), static_cast<int>(will.size()),
                                will.data(), QOS, RETAIN);
  if (code != MOSQ_ERR_SUCCESS) {
    const std::string message = _mosquitto_error("_init_mosquitto", "mosquitto_will_set", code);
    _destroy();
    throw std::runtime_error(message);
  }
  mosquitto_connect_callback_set(_client, _on_connect);
  mosquitto_publish_callback_set(_client, _on_publish);

  code = mosquitto_loop_start(_client);
  if (code != MOSQ_ERR_SUCCESS) {
    _destroy();
    throw std::runtime_error(std::string("_init_mosquitto: 'mosquitto_loop_start' fail") +
                             (code == MOSQ_ERR_INVAL ? "; bad setup" : "; no thread support"));
  }
  // Data go to the files all the same: a run without a broker is not a failure.
  code = mosquitto_connect_async(_client, BROKER, BROKER_PORT, KEEPALIVE_SECONDS);
  if (code != MOSQ_ERR_SUCCESS) _destroy();
  _started = true;
}

void MQTTPublisher::_destroy() {
  if (_client == nullptr) return;
  if (_started) mosquitto_disconnect(_client);
  mosquitto_loop_stop(_client, FORCE);
  mosquitto_destroy(_client);
  _client = nullptr;
}

void MQTTPublisher::_on_connect(mosquitto* /*mosq*/, void* /*obj*/, int code) {
  if (code == 0) {
    syslog(LOG_NOTICE, "%s", "_on_connect: connected\n");
  } else {
    const std::string text = "_on_connect: connect fail (" + std::to_string(code) + ")\n";
    syslog(LOG_ERR, "%s", text.c_str());
  }
}

void MQTTPublisher::_on_publish(mosquitto* /*mosq*/, void* /*obj*/, int /*message_id*/) {}

std::string MQTTPublisher::_mosquitto_error(const std::string& where, const std::string& what,
                                            int code) {
  const std::string text = error_text(code);  // first: it may be about errno
  return where + ": '" + what + "' fail, " + text;
}

int MQTTPublisher::_publish(const std::string& topic, const std::string& payload) {
  const int code = mosquitto_publish(_client, nullptr, topic.c_str(),
                                     static_cast<int>(payload.size()), payload.data(), QOS, RETAIN);
  if (code == MOSQ_ERR_SUCCESS) return 0;
  const int error = errno;
  const std::string call = "mosquitto_publish" + topic;
  errno = error;  // the code may be about it, and making a text may have changed it
  std::cout << _mosquitto_error("_publish", call, code) << std::endl;
  return -1;
}

void MQTTPublisher::set_header(const std::string& header) {
  if (!header.empty()) _header = split(header, COLUMN_SEPARATOR);
}

void MQTTPublisher::publish(unsigned long long time_stamp, const std::string& line) {
  const bool published = time_stamp == _last_time_stamp;
  if (published && !_fast_pub) return;
  if (_header.empty()) {
    std::cout << "publish: no header => no publish" << std::endl;
    return;
  }
  std::vector<std::string> values = split(line, COLUMN_SEPARATOR);
  if (values.size() != _header.size()) {
    std::cout << "publish: header/data size mismatch; k=" << _header.size()
              << ", v=" << values.size() << std::endl;
    return;
  }
  for (auto& value : values) {
    if (value == "NaN") value = "null";
  }
  const std::string json = s2json(_header, values);
  if (_console_only) {
    std::cout << json << std::endl;
    return;
  }
  if (!published) {
    if (_publish(_topic, json) != 0) return;
    _last_time_stamp = time_stamp;
  }
  if (_fast_pub) _publish(_topic_fast, json);
}

int MQTTPublisher::status(const std::string& text) { return _publish(_topic_status, text); }

}  // namespace sonic
