#include "app/mainline.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <sstream>

#include "app/command_line.h"
#include "app/configuration.h"
#include "app/interruption.h"
#include "app/priority.h"
#include "app/priviledges.h"
#include "mqtt/mqtt_publisher.h"
#include "mqtt/mqtt_serial_status_notifier.h"
#include "output/sampling.h"
#include "output/sonic_info.h"
#include "output/sonic_ops.h"
#include "serial/sonic_type.h"
#include "young/baud_detection.h"
#include "young/sonic_setup.h"
#include "young/sonic_young_81000_serial.h"
#include "young/young_81000_settings.h"

namespace sonic {

namespace {

constexpr const char* DEVICE_USER = "qelta";
constexpr int NICE = -20;
constexpr const char* NO_HEADER_YET = "";

}  // namespace

void mainline(int argc, char** argv) {
  if (argc == 1) {
    base_config_help(argv[0], std::cout);
    exit(0);
  }
  install_sigint_handler();
  Priviledges privileges = priviledges_for_user(DEVICE_USER);
  Priority priority(privileges, NICE);  // the sampling loop sets it, to a value of its own

  config_map_t settings = command_line(argc, const_cast<const char**>(argv));
  config_extend(settings);
  config_extras(settings, extra_configs);
  const bool verbose = config_flag(settings, "verbose");
  const bool console_only = config_flag(settings, "console_only");

  SonicType sonic_type(settings["SONIC_TYPE"], settings["sys_port"], privileges);
  std::ostringstream client_id;
  client_id << getpid() << "." << settings.at("SONIC_ID");
  MQTTPublisher publisher(client_id.str(), settings.at("topic"), settings.at("topic_fast"),
                          NO_HEADER_YET, settings.at("topic_status"),
                          settings.at("topic_status_will"), config_flag(settings, "fast_pub"),
                          console_only);
  MQTTSerialStatusNotifier notifier(publisher);
  sonic_young_81000_serial instrument(notifier, settings, privileges, allowed_baud_rates,
                                      autobaud_match_strings, verbose);
  const config_map_t info = sonic_setup(notifier, settings, instrument.port());
  SonicInfoFile info_file(settings.at("sonic_info_file"));
  info_file.write(info);
  sonic_type.set();
  sampling(publisher, notifier, instrument.port(), settings, info, priority, young_81000_ops);
}

}  // namespace sonic
