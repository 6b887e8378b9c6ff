#include "port/options.h"

#include "base/command_line.h"

namespace sonic::port {

namespace {

constexpr const char* ABOUT =
    R"(Opens the serial port DEVICE of an ultrasonic anemometer, and offers a port on which
each record of the instrument has the stamp that sonicd needs. Runs until it is
interrupted or DEVICE is gone.
)";

constexpr const char* NOTES =
    "Exit status: 0 when interrupted, 1 when DEVICE fails, 2 for a wrong command line.\n";

}  // namespace

std::optional<Options> parse_options(int argc, char* const argv[]) {
  Options options;
  const CommandLine command_line = {
      "sonic-port",
      "[OPTION]... DEVICE",
      ABOUT,
      {{"link", "PATH", "link the offered port to PATH, such as /dev/ttyS1", store(options.link)},
       {"trace", "",
        "print a line for every change of speed and every stamped record,\n"
        "with its delay",
        store(options.trace)}},
      NOTES};
  const auto devices = command_line.parse(argc, argv);
  if (!devices) return std::nullopt;
  if (devices->size() > 1) throw UsageError(devices->at(1) + ": only one DEVICE");
  if (devices->empty() || devices->front().empty()) throw UsageError("which DEVICE?");
  options.device = devices->front();
  return options;
}

}  // namespace sonic::port
