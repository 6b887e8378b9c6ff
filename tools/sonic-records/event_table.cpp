#include "tools/sonic-records/outputs.h"

namespace sonic::records {

namespace {

const char* name(Event kind) {
  switch (kind) {
    case Event::GAP:
      return "gap";
    case Event::CLOCK_BACK:
      return "clock_back";
    case Event::RATE_CHANGE:
      return "rate_change";
    case Event::RESTART:
      return "restart";
    case Event::FAILED:
      return "failed";
    case Event::LEFT_OUT:
      return "left_out";
    case Event::ERROR:
      return "error";
  }
  return "";
}

// A row for each thing between the records.
class EventTable : public TableOutput {
 public:
  explicit EventTable(const Options& options)
      : _epoch(options.epoch),
        _table(options.format, options.station,
               {{"time", true}, {"event", true}, {"seconds", false}}) {}

  void between(Event kind, std::optional<uint64_t> before, uint64_t length) override {
    std::string time;
    if (before) time = _epoch ? seconds_text(*before) : iso_text(*before);
    _table.row({time, name(kind), length != 0 ? seconds_text(length) : ""});
  }

  bool finish() override {
    _table.flush();
    return true;
  }

 private:
  const bool _epoch;
  Table _table;
};

}  // namespace

std::unique_ptr<TableOutput> make_event_table(const Options& options) {
  return std::make_unique<EventTable>(options);
}

}  // namespace sonic::records
