// What an instrument sends, through the port driver. The fuzzer's input: a seed and a limit for the
// lengths of the pieces in which it arrives, and the bytes, in which 255 stands for a long pause.

#include <random>

#include "fuzz/properties.h"
#include "port/stamper.h"
#include "terminal/framing.h"

namespace sonic {

static const std::string STAMP = time_stamp(1);
static const std::string RECORD = "1.1 1.1 1.1 1.1 1.1 1 00";

static bool is_record(const std::string& line) {
  return line.size() < 960 && line.find('\0') == std::string::npos &&
         young_81000_input_re.is_match(STAMP + line);
}

// With the rest of a record after it, it would be one.
static bool can_become_record(const std::string& held) {
  bool can = held.size() > 900;
  for (size_t i = 0; i <= RECORD.size() && !can; ++i) can = is_record(held + RECORD.substr(i));
  return can;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const std::string bytes(data + 2, data + size);
  std::minstd_rand random(data[0]);
  port::Stamper stamper;
  std::string passed, expected, line;
  uint64_t now = 0, arrival = 0;
  bool whole = true;  // nothing of this line has been passed on in a pause
  for (size_t at = 0, n = 0; at < bytes.size(); at += n) {
    n = std::min({random() % (data[1] + 1U) + 1, bytes.find('\xff', at) - at, bytes.size() - at});
    if (n == 0) {
      passed += stamper.release();
      whole = line.empty();
      n = 1;
      continue;
    }
    ++now;
    passed += stamper.take(bytes.substr(at, n), now);
    for (const char c : bytes.substr(at, n)) {
      if (line.empty()) arrival = now;
      if (c != '\r') {
        line += c;
        continue;
      }
      if (whole && is_record(line)) expected += time_stamp(arrival);
      expected += line + '\r';
      line.clear();
      whole = true;
    }
    const std::string due = (expected + line).substr(passed.size());
    assert(passed + due == expected + line);
    assert(stamper.is_holding() == !due.empty());
    assert(due.empty() || (due == line && can_become_record(due)));
  }
  return 0;
}

}  // namespace sonic
