// Feeds recorded port input through the real sampling loop, inside a private device: replay FILE

#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

#include "mqtt/mqtt_serial_status_notifier.h"
#include "output/sampling.h"
#include "support.h"

namespace {

constexpr size_t PIECES[] = {1, 7, 64, 150, 199, 3};    // bytes that arrive at once
constexpr auto READING = std::chrono::milliseconds(5);  // time for the loop to read a piece
constexpr auto CONNECTING = std::chrono::milliseconds(500);
constexpr auto SILENCE = std::chrono::milliseconds(1500);  // long enough for one "Disconnected"

void feed(sonic::Pty& pty, const std::string& input) {
  size_t piece = 0;
  for (size_t start = 0; start < input.size();) {
    const size_t length = PIECES[piece++ % std::size(PIECES)];
    pty.send(input.substr(start, length));
    start += length;
    std::this_thread::sleep_for(READING);
  }
  std::this_thread::sleep_for(SILENCE);
  sonic::terminator = 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::ifstream file(argv[1], std::ios::binary);
  const std::string input{std::istreambuf_iterator<char>(file), {}};

  sonic::Pty pty;
  sonic::Serial port(pty.path(), 38400, true);
  sonic::Priviledges privileges = sonic::priviledges_for_user("qelta");
  sonic::Priority priority(privileges, 0);
  sonic::MQTTPublisher publisher("replay", "record", "fast", "", "status", "gone", true, false);
  sonic::MQTTSerialStatusNotifier notifier(publisher);
  std::this_thread::sleep_for(CONNECTING);
  const sonic::config_map_t config = {
      {"console_only", "0"}, {"verbose", "0"}, {"SONIC_ID", "young"}, {"iterations", "0"}};
  const sonic::config_map_t extras = {{"serial_number", "01234"},
                                      {"instrument", "RM Young"},
                                      {"software_version", "1.2\n3.4"},
                                      {"output_rate", "32"}};
  std::thread feeder(feed, std::ref(pty), input);
  std::cout << sonic::thrown_by([&] {
    sampling(publisher, notifier, port, config, extras, priority, sonic::young_81000_ops);
  }) << std::endl;
  feeder.join();
}
