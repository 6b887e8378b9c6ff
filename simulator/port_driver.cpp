#include "simulator/port_driver.h"

#include <algorithm>

#include "terminal/framing.h"
namespace sonic::simulator {

namespace {

constexpr char JUNK = '#';

void spoil_number(std::string& line) {
  const size_t point = line.find('.');
  if (point != std::string::npos) line[point] = '*';
}

void spoil(char& digit) { digit = digit == '0' ? '1' : '0'; }

uint64_t amount_at(const std::vector<Incident>& incidents, uint64_t record) {
  uint64_t sum = 0;
  for (const Incident& incident : incidents) {
    if (incident.record == record) sum += incident.amount;
  }
  return sum;
}

}  // namespace

std::string PortDriver::framed(uint64_t stamp_ns, const std::string& line) const {
  return (_raw ? "" : time_stamp(stamp_ns)) + line + LINE_END;
}

Delivery PortDriver::deliver(uint64_t stamp_ns, std::string line) {
  ++_record;
  for (const Incident& step : _faults.steps_back) {
    if (_record >= step.record) stamp_ns -= std::min(stamp_ns, step.amount);
  }
  if (every(_faults.malformed_period)) spoil_number(line);
  if (every(_faults.bad_checksum_period) && !line.empty()) spoil(line.back());
  std::string record = framed(stamp_ns, line);
  if (every(_faults.bad_stamp_period) && !_raw) spoil(record[time_stamp(stamp_ns).size() - 2]);

  Delivery delivery;
  if (every(_faults.noise_period)) delivery.bytes = noise(_faults.noise_bytes);
  delivery.bytes += record;
  delivery.bytes.append(static_cast<size_t>(amount_at(_faults.junk, _record)), JUNK);

  const uint64_t pause = amount_at(_faults.pauses, _record);
  const uint64_t power_off = amount_at(_faults.power_cycles, _record);
  if (pause != 0) delivery.event = Event::PAUSE;
  if (power_off != 0) delivery.event = Event::POWER_CYCLE;
  if (_record == _faults.silent_after) delivery.event = Event::SILENCE;
  if (_record == _faults.hang_up_after) delivery.event = Event::HANG_UP;
  delivery.nanoseconds = pause + power_off;
  return delivery;
}

// Any bytes but the delimiter, so that exactly one record is spoiled.
std::string PortDriver::noise(uint64_t bytes) {
  std::string text;
  while (text.size() < bytes) {
    const char c = static_cast<char>(_random() & 0xFF);
    if (c != LINE_END) text += c;
  }
  return text;
}

}  // namespace sonic::simulator
