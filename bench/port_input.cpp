#include "bench/port_input.h"

#include "base/time.h"
#include "simulator/stream.h"

namespace sonic::bench {

std::vector<std::string> port_lines(size_t count) {
  simulator::Options options;
  options.settings.rate = 32;
  options.settings.fields = "5ABEC";  // as the daemon sets it
  options.start_ns = 1700002800 * NANOSECONDS_PER_SECOND;
  simulator::Instrument instrument(options.settings, options.state, options.paging);
  simulator::Stream stream(options, instrument);
  stream.begin(true);
  std::vector<std::string> lines;
  while (lines.size() < count) {
    lines.push_back(stream.next().bytes);
    lines.back().pop_back();
  }
  return lines;
}

}  // namespace sonic::bench
