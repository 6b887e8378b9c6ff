// The instrument's answers in the menu; the first byte picks what is asked of it.

#include "young/dialogue.h"

#include "scripted_port.h"
#include "young/young_81000_menu.h"
#include "young/young_81000_settings.h"

static void ask(char what) {
  Serial port("port", 38400, true);
  if (what == 'd') interactive_read_to_delimiter(port, "EXIT TO OPERATE MODE\r", 3000, 5, 3, true);
  if (what == 'x') young_exit_interactive(port, true);
  if (what == 'p') {
    const std::string page = young_interactive_rx(port, 1, 1000, true);
    assert(page.find('\r') == std::string::npos);
    assert(page.find("PRESS ANY KEY TO CONTINUE") == std::string::npos);
  }
  if (what == 'i') {
    const std::string info = young_81000_get_info(port, true);
    for (const char c : info) assert(c == '\n' || (c >= ' ' && c <= '~'));
    assert(info.find(young_81000_get_firmware_version(info)) != std::string::npos);
  }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  play(std::string(data + 1, data + size));
  Printed printed;
  thrown_by([&] { ask(static_cast<char>(data[0])); });
  return 0;
}
