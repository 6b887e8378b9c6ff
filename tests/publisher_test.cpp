#include <gtest/gtest.h>
#include <mosquitto.h>

#include <optional>
#include <sstream>

#include "mqtt/mqtt_serial_status_notifier.h"
#include "tests/cases.h"
#include "tests/recorded_calls.h"
#include "tests/support.h"

namespace sonic {

namespace {

std::optional<MQTTPublisher> publisher;

void close() {
  Printed elsewhere;
  publisher.reset();
}

// With the words "fast" and "console", or with neither. It is seen when traced.
void open(Serial&, const std::string& words, bool verbose) {
  close();
  std::optional<Printed> elsewhere;
  if (!verbose) elsewhere.emplace();
  const auto has = [&](const char* word) { return words.find(word) != std::string::npos; };
  publisher.emplace("id", "record", "fast", "", "status", "gone", has("fast"), has("console"));
}

// A record of a second, as in "7 1\t2".
void publish(const std::string& record) {
  const size_t space = record.find(' ');
  publisher->publish(std::stoull(record.substr(0, space)), record.substr(space + 1));
}

void notify(const std::string& text) {
  MQTTSerialStatusNotifier notifier(*publisher);
  notifier.notify(text);
  notifier.notified(true);
  if (!notifier.notified()) std::cout << "notified is forgotten" << std::endl;
}

// What the library's call returns the next time, as in "publish 4".
void result(const std::string& text) {
  std::istringstream words(text);
  std::string call;
  words >> call >> call_results[call];
}

template <typename Action>
Call with_text(Action action) {
  return [=](Serial&, const std::string& text, bool) { action(text); };
}

const Calls CALLS = {
    {"open", open},
    {"close", with_text([](const std::string&) { publisher.reset(); })},
    {"header", with_text([](const std::string& names) { publisher->set_header(names); })},
    {"publish", with_text(publish)},
    {"notify", with_text(notify)},
    {"connected",
     with_text([](const std::string& code) { on_connect(nullptr, nullptr, std::stoi(code)); })},
    {"init", with_text([](const std::string&) { MQTTPublisher::mosquitto_lib(); })},
    {"result", with_text(result)},
};

class PublisherTest : public testing::Test {
 protected:
  void TearDown() override { close(); }
};

const bool CASES = add_cases<PublisherTest>("Publisher", "publisher", CALLS);

}  // namespace

}  // namespace sonic
