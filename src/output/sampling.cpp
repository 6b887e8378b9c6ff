#include "output/sampling.h"

#include <array>
#include <iostream>

#include "app/inactivity.h"
#include "app/interruption.h"
#include "output/data_file.h"
#include "records/data_line.h"
#include "records/line_tags.h"
#include "young/dialogue.h"

namespace sonic {

namespace {

constexpr unsigned int WAIT_SECONDS = 1;
constexpr unsigned int MAX_IDLE_WAITS = 60;  // a second each, unless hung up
constexpr unsigned int BLOCK = 200;
constexpr size_t MAX_UNDELIMITED_BYTES = 1000;
constexpr int SAMPLING_PRIORITY = -20;
constexpr const char* INTERRUPTED = "sampling";
constexpr const char* TIMED_OUT = "TIMEOUT: sampling for ";

class SamplingLoop {
 public:
  SamplingLoop(MQTTPublisher& publisher, Notifier& notifier, Serial& port,
               const config_map_t& config, const config_map_t& extras, const SonicOps& ops)
      : _publisher(publisher),
        _notifier(notifier),
        _port(port),
        _ops(ops),
        _console_only(config_flag(config, "console_only")),
        _verbose(config_flag(config, "verbose")),
        _sonic_id(config.at("SONIC_ID")),
        _serial_number(extras.at("serial_number")),
        _instrument_lines(instrument_lines(extras.at("instrument"), extras.at("serial_number"),
                                           extras.at("software_version"),
                                           extras.at("output_rate"))),
        _inactivity(MAX_IDLE_WAITS, TIMED_OUT + _sonic_id),
        _iterations(std::stoul(config.at("iterations"))),
        _file(_console_only) {}

  void run() {
    while (!is_done()) pass();
  }

 private:
  bool is_done() const { return _iterations != 0 && _records >= _iterations; }

  // One wait and what it brought.
  void pass() {
    const int ready = interactive_wait_for_input(_port, WAIT_SECONDS);
    throw_if_terminated(INTERRUPTED);
    if (ready == 0) return idle();
    std::array<char, BLOCK> block;
    const int n = _port.read(block.data(), BLOCK);
    throw_if_terminated(INTERRUPTED);
    if (n == 0) return idle();

    _inactivity.reset();
    set_connected(true);
    _buffer.append(block.data(), static_cast<size_t>(n));
    if (_buffer.find(_ops.delimiter) == std::string::npos) {
      limit_buffer();
    } else {
      take_records();
    }
  }

  void idle() {
    _inactivity.inc();
    set_connected(false);
  }

  // Reports changes only.
  void set_connected(bool connected) {
    if (connected == _connected) return;
    _notifier.notify(connected ? "Connected" : "Disconnected");
    _connected = connected;
  }

  void limit_buffer() {
    if (_buffer.size() <= MAX_UNDELIMITED_BYTES) return;
    std::cout << "Excessive length, with no delim -> clearing buffer" << std::endl;
    _notifier.notify("Dropping excessive buffer");
    _buffer.clear();
  }

  // Takes the complete lines out of the buffer, but none after the last record asked for.
  void take_records() {
    size_t start = 0;
    while (!is_done()) {
      const size_t end = _buffer.find(_ops.delimiter, start);
      if (end == std::string::npos) break;
      take_line(_buffer.substr(start, end - start));
      start = end + _ops.delimiter.size();
    }
    _buffer.erase(0, start);
  }

  void take_line(const std::string& line) {
    const parsed_data record = _ops.extract(line, *_ops.parser, _verbose);
    if (!record.valid) {
      if (_file.is_open()) {
        _file.log(std::string(ERROR_HEADER_TAG) + "\ttext", true);  // before each error line
        _file.log(std::string(ERROR_TAG) + "\t" + line, true);
      }
      return;
    }
    ++_records;
    if (record.sec >= _next_switch) switch_file(record);
    const std::string data = data_line(record.sec, record.nsec, _ops.transform(record.data));
    _file.log(data, true);
    _publisher.publish(record.sec, data);
  }

  void switch_file(const parsed_data& record) {
    if (_header.empty()) {
      _header = _ops.header->header(record.data);
      _publisher.set_header(_header);
    }
    const std::string name = sonic_data_filename(record.sec, _sonic_id, _serial_number);
    std::cout << "new data file '" << name << "'" << std::endl;
    _file.new_log(name);
    _file.log(_instrument_lines, true);
    _file.log(_header, true);
    _next_switch = time_next_half_hour(record.sec);
    std::cout << "next switch at " << _next_switch << std::endl;
  }

  MQTTPublisher& _publisher;
  Notifier& _notifier;
  Serial& _port;
  const SonicOps& _ops;
  const bool _console_only;
  const bool _verbose;
  const std::string _sonic_id;
  const std::string _serial_number;
  const std::string _instrument_lines;
  InactivityTerminator _inactivity;
  const unsigned long _iterations;
  logging _file;

  bool _connected = true;
  std::string _buffer;
  uint64_t _next_switch = 0;
  uint32_t _records = 0;
  std::string _header;
};

}  // namespace

void sampling(MQTTPublisher& publisher, Notifier& notifier, Serial& port,
              const config_map_t& config, const config_map_t& extras, Priority& priority,
              SonicOps& ops) {
  notifier.notify("Connected");
  notifier.notified(false);
  SamplingLoop loop(publisher, notifier, port, config, extras, ops);
  // This thread only: the publisher's, which has been running for long, stays where it was.
  priority.set(SAMPLING_PRIORITY);
  loop.run();
}

}  // namespace sonic
