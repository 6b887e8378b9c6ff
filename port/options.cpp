#include "port/options.h"

#include <getopt.h>

#include <stdexcept>

namespace sonic::port {

namespace {

const option LONG_OPTIONS[] = {{"link", required_argument, nullptr, 'l'},
                               {"trace", no_argument, nullptr, 't'},
                               {"help", no_argument, nullptr, 'h'},
                               {}};

}  // namespace

const char* const HELP_TEXT =
    "sonic-port [OPTION]... DEVICE\n"
    "Holds the serial port DEVICE, to which an ultrasonic anemometer is attached, and offers a "
    "port\n"
    "on which each of the instrument's records comes with the time of its arrival, as sonicd "
    "wants\n"
    "it. Runs until it is interrupted or DEVICE is gone.\n"
    "\n"
    "  --link PATH                 link the offered port to PATH, such as /dev/ttyS1\n"
    "  --trace                     a line on standard output for every change of speed and every\n"
    "                              stamped record, with its delay\n"
    "  --help                      print this and end\n"
    "\n"
    "Exit status: 0 when interrupted, 1 when DEVICE fails, 2 on a bad option.\n";

Options parse_options(int argc, char* const argv[]) {
  Options options;
  optind = 0;  // start over, should this be a second call
  opterr = 0;
  const auto argument = [argv](int i) { return std::string(argv[i]); };
  for (int found = 0; (found = getopt_long(argc, argv, ":", LONG_OPTIONS, nullptr)) != -1;) {
    switch (found) {
      case 'l':
        options.link = optarg;
        break;
      case 't':
        options.trace = true;
        break;
      case 'h':
        options.help = true;
        break;
      case ':':
        throw std::invalid_argument(argument(optind - 1) + ": needs a value");
      default:
        throw std::invalid_argument(argument(optind - 1) + ": no such option");
    }
  }
  if (options.help) return options;
  if (optind < argc) options.device = argument(optind);
  if (options.device.empty()) throw std::invalid_argument("which DEVICE?");
  if (optind + 1 < argc) throw std::invalid_argument(argument(optind + 1) + ": only one DEVICE");
  return options;
}

}  // namespace sonic::port
