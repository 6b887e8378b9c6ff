#include "simulator/port_driver.h"

#include <algorithm>

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
  return (raw_ ? "" : stamp(stamp_ns)) + line + LINE_END;
}

Delivery PortDriver::deliver(uint64_t stamp_ns, std::string line) {
  ++record_;
  for (const Incident& step : faults_.steps_back) {
    if (record_ >= step.record) stamp_ns -= std::min(stamp_ns, step.amount);
  }
  if (every(faults_.malformed_period)) spoil_number(line);
  if (every(faults_.bad_check_period) && !line.empty()) spoil(line.back());
  std::string record = framed(stamp_ns, line);
  if (every(faults_.bad_stamp_period) && !raw_) spoil(record[stamp(stamp_ns).size() - 2]);

  Delivery delivery;
  if (every(faults_.noise_period)) delivery.bytes = noise(faults_.noise_bytes);
  delivery.bytes += record;
  delivery.bytes.append(static_cast<size_t>(amount_at(faults_.junk, record_)), JUNK);

  const uint64_t pause = amount_at(faults_.pauses, record_);
  const uint64_t power_off = amount_at(faults_.power_cycles, record_);
  if (pause != 0) delivery.event = Event::PAUSE;
  if (power_off != 0) delivery.event = Event::POWER_CYCLE;
  if (record_ == faults_.silent_after) delivery.event = Event::SILENCE;
  if (record_ == faults_.hang_up_after) delivery.event = Event::HANG_UP;
  delivery.nanoseconds = pause + power_off;
  return delivery;
}

/// Any bytes but the delimiter, so that exactly one record is spoiled.
std::string PortDriver::noise(uint64_t bytes) {
  std::string text;
  while (text.size() < bytes) {
    const char c = static_cast<char>(random_() & 0xFF);
    if (c != LINE_END) text += c;
  }
  return text;
}

}  // namespace sonic::simulator
