#include "tests/recorded_calls.h"

#include <fcntl.h>
#include <mosquitto.h>
#include <sys/resource.h>
#include <syslog.h>

#include <cerrno>
#include <filesystem>
#include <iostream>

#include "app/configuration.h"

namespace sonic {

std::map<std::string, int> call_results;
std::string home_folder;
void (*on_connect)(mosquitto* client, void* object, int code);

HomeTest::HomeTest() {
  char folder[] = "/tmp/sonicd-test.XXXXXX";
  home_folder = mkdtemp(folder);
}

HomeTest::~HomeTest() {
  std::filesystem::remove_all(home_folder);
  home_folder.clear();
}

namespace {

// Prints a call and returns its result.
template <typename... Arguments>
int call(const std::string& name, const Arguments&... arguments) {
  std::cout << name;
  ((std::cout << ' ' << arguments), ...);
  std::cout << std::endl;
  errno = ENOMEM;
  const auto result = call_results.extract(name);
  return result.empty() ? 0 : result.mapped();
}

std::string text(const void* bytes, int length) {
  return {static_cast<const char*>(bytes), static_cast<size_t>(length)};
}

}  // namespace

}  // namespace sonic

using sonic::call;

// These precede the library's own.
int mosquitto_lib_init() { return call("lib_init"); }

int mosquitto_lib_cleanup() { return call("lib_cleanup"); }

mosquitto* mosquitto_new(const char* id, bool clean_session, void* object) {
  static char client;
  const int code = call("new", id, "clean", clean_session, object != nullptr ? "this" : "nothing");
  return code == 0 ? reinterpret_cast<mosquitto*>(&client) : nullptr;
}

int mosquitto_will_set(mosquitto*, const char* topic, int length, const void* bytes, int qos,
                       bool retain) {
  return call("will", topic, sonic::text(bytes, length), "qos", qos, "retain", retain);
}

void mosquitto_connect_callback_set(mosquitto*, void (*callback)(mosquitto*, void*, int)) {
  sonic::on_connect = callback;
}

void mosquitto_publish_callback_set(mosquitto*, void (*)(mosquitto*, void*, int)) {}

int mosquitto_loop_start(mosquitto*) { return call("loop_start"); }

int mosquitto_connect_async(mosquitto*, const char* host, int port, int keepalive) {
  return call("connect", host, port, keepalive);
}

int mosquitto_publish(mosquitto* client, int*, const char* topic, int length, const void* bytes,
                      int qos, bool retain) {
  if (client == nullptr) return MOSQ_ERR_INVAL;
  return call("publish", topic, sonic::text(bytes, length), "qos", qos, "retain", retain);
}

int mosquitto_disconnect(mosquitto*) { return call("disconnect"); }

int mosquitto_loop_stop(mosquitto*, bool force) { return call("loop_stop", "force", force); }

void mosquitto_destroy(mosquitto*) { call("destroy"); }

// The linker sends the program's calls here, and those of __real_NAME to the library.
extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_setpriority(__priority_which_t which, id_t who, int value);

int __wrap_open(const char* path, int flags, mode_t mode) {
  const std::string& home = sonic::COMMON_OUTPUT_DATA_PATH;
  std::string there = path;
  if (there.rfind(home, 0) == 0) {
    there.replace(0, home.size(), sonic::home_folder);
    std::cout << std::oct << "open " << flags << ' ' << mode << std::dec << std::endl;
  }
  return __real_open(there.c_str(), flags, mode);
}

int __wrap_setpriority(__priority_which_t which, id_t who, int value) {
  if (sonic::home_folder.empty()) return __real_setpriority(which, who, value);
  return call("setpriority", value);
}

void __wrap_syslog(int level, const char* /*format*/, const char* text) {
  call("syslog", level, text);
}
}
