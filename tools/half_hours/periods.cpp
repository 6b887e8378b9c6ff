#include "tools/half_hours/periods.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <utility>

#include "base/time.h"

namespace sonic::records {

namespace {

constexpr uint64_t MAX_RECORDS = 4'000'000;  // an hour of a thousand records a second is less
constexpr uint64_t BATCH_RECORDS = 1 << 17;  // read again at a time: 4 MiB

}  // namespace

PeriodCollector::PeriodCollector(uint64_t length, Work work)
    : _length(length), _work(std::move(work)) {}

void PeriodCollector::take(uint32_t file, const Sample& sample) {
  if (_open == nullptr || sample.time - _start >= _length) {
    change_to(sample.time - sample.time % _length);
  }
  if (++_open->records > MAX_RECORDS) {
    throw std::runtime_error("more than " + std::to_string(MAX_RECORDS) +
                             " records in one period; are the files those of one instrument?");
  }
  if (_open->files.empty() || _open->files.back() != file) _open->files.push_back(file);
  if (!_open->is_together) return;
  if (_samples.empty()) {
    _samples.reserve(static_cast<size_t>(_length / NANOSECONDS_PER_SECOND * sample.rate) + 1);
  }
  _samples.push_back(sample);
}

void PeriodCollector::change_to(uint64_t start) {
  close();
  const auto [found, is_new] = _periods.try_emplace(start);
  if (!is_new) found->second.is_together = false;
  _start = start;
  _open = &found->second;
}

void PeriodCollector::close() {
  if (_samples.empty()) return;
  _open->together = _samples.size();
  _work(_start, _samples);
  _samples.clear();
}

uint64_t PeriodCollector::finish(const ReadAgain& read_again) {
  close();
  _samples = {};
  uint64_t missed = 0;
  for (auto next = _periods.begin(); next != _periods.end();) {
    Batch batch;
    uint64_t records = 0;
    for (; next != _periods.end(); ++next) {
      if (next->second.is_together) continue;
      records += next->second.records;
      if (!batch.empty() && records > BATCH_RECORDS) break;
      batch.try_emplace(next->first);
    }
    if (!batch.empty() && read_batch(batch, read_again)) {
      for (auto& [start, samples] : batch) _work(start, samples);
    } else {
      for (const auto& [start, samples] : batch) {
        const Period& period = _periods.at(start);
        missed += period.records - period.together;
      }
    }
  }
  return missed;
}

bool PeriodCollector::read_batch(Batch& batch, const ReadAgain& read_again) const {
  std::set<uint32_t> files;
  for (const auto& [start, samples] : batch) {
    const Period& period = _periods.at(start);
    files.insert(period.files.begin(), period.files.end());
  }
  const auto take = [&](const Sample& sample) {
    const auto found = batch.find(sample.time - sample.time % _length);
    if (found != batch.end()) found->second.push_back(sample);
  };
  return std::all_of(files.begin(), files.end(),
                     [&](uint32_t file) { return read_again(file, take); });
}

}  // namespace sonic::records
