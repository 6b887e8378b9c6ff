#include <array>

#include "tools/sonic-records/plain_table.h"

namespace sonic::records {

namespace {

// In the order of Event.
constexpr std::array EVENT_NAMES = {"gap",    "clock_back", "rate_change", "restart",
                                    "failed", "left_out",   "error"};
static_assert(EVENT_NAMES.size() == static_cast<size_t>(Event::ERROR) + 1);

// A row for each thing between the records.
class EventTable : public PlainTable {
 public:
  explicit EventTable(const Options& options)
      : PlainTable(options, {{"time", true}, {"event", true}, {"seconds", false}}) {}

  void between(Event kind, std::optional<uint64_t> before, uint64_t length) override {
    row({before ? time(*before) : "", EVENT_NAMES.at(static_cast<size_t>(kind)),
         length != 0 ? seconds_text(length) : ""});
  }
};

}  // namespace

std::unique_ptr<TableOutput> make_event_table(const Options& options) {
  return std::make_unique<EventTable>(options);
}

}  // namespace sonic::records
