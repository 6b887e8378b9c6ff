// The device's configuration file.

#include <sys/mman.h>
#include <unistd.h>

#include "output/sonic_info.h"
#include "properties.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const int file = memfd_create("config.json", 0);
  if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) == -1) abort();
  const std::string path = "/proc/self/fd/" + std::to_string(file);
  config_map_t info = {{"serial_number", "unknown"}};
  const std::string thrown = thrown_by([&] { sonic_info_update(info, {"serial_number"}, path); });
  assert(thrown == "nothing thrown" || info["serial_number"] == "unknown");
  return 0;
}
