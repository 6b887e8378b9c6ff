#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "tools/half_hours/sample.h"

namespace sonic::records {

/// Gathers the records of one period after the other, in memory for one of them. A period whose
/// records are not all next to each other, because a clock was set back or two files overlap, is
/// read again from its files at the end, so that all of its records are together whatever their
/// order.
class PeriodCollector {
 public:
  /// Works on a period's records. A period that is read again is passed a second time, which
  /// counts.
  using Work = std::function<void(uint64_t start, std::vector<Sample>& samples)>;
  using Take = std::function<void(const Sample& sample)>;
  /// Gives all records of the file with this number. False for a file that cannot be read again.
  using ReadAgain = std::function<bool(uint32_t file, const Take& take)>;

  /// Periods begin at multiples of `length`, in nanoseconds since 1970.
  PeriodCollector(uint64_t length, Work work);

  /// The next record, from the file with this number. Throws std::runtime_error where a period has
  /// more records than any instrument sends.
  void take(uint32_t file, const Sample& sample);

  /// Works on what is left. Returns how many records did not count because their files cannot be
  /// read again.
  uint64_t finish(const ReadAgain& read_again);

 private:
  struct Period {
    std::vector<uint32_t> files;
    uint64_t records = 0;
    uint64_t together = 0;  ///< how many of them the first Work had
    bool is_together = true;
  };
  using Batch = std::map<uint64_t, std::vector<Sample>>;

  void change_to(uint64_t start);
  void close();
  bool read_batch(Batch& batch, const ReadAgain& read_again) const;

  const uint64_t _length;
  const Work _work;
  std::map<uint64_t, Period> _periods;
  uint64_t _start = 0;
  Period* _open = nullptr;  ///< the period at _start
  std::vector<Sample> _samples;
};

}  // namespace sonic::records
