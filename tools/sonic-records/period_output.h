#pragma once

#include <string>
#include <vector>

#include "tools/half_hours/periods.h"
#include "tools/sonic-records/outputs.h"

namespace sonic::records {

/// What is made of all records of a period together.
class PeriodOutput : public TableOutput {
 public:
  void begin_file(const std::string& path) final { _paths.push_back(path); }
  void record(const DataLine& record, const Summary& file) final;
  bool finish() final;

 protected:
  /// Copies what it needs of `options`.
  explicit PeriodOutput(const Options& options);

  /// The records of a period, in any order. A period may be passed a second time, which counts.
  virtual void work(uint64_t start, std::vector<Sample>& samples) = 0;
  /// As finish().
  virtual bool finish_periods() = 0;

  const std::string& serial_number() const { return _serial_number; }  ///< empty: not known

 private:
  bool read_again(const std::string& path, const PeriodCollector::Take& take) const;

  const TimeRange _range;
  PeriodCollector _collector;
  std::vector<std::string> _paths;
  std::string _serial_number;
};

}  // namespace sonic::records
