#include "port/stamper.h"

#include <gtest/gtest.h>

#include "base/time.h"
#include "port/line_queue.h"
#include "records/text.h"
#include "tests/cases.h"

namespace sonic::port {
namespace {

// PIECE|PIECE...: shows what goes on when each has arrived, a nanosecond after the one before. An
// empty one is a pause.
void send(Serial&, const std::string& pieces, bool) {
  Stamper stamper;
  uint64_t now = 1700002800 * NANOSECONDS_PER_SECOND;
  for (const std::string& piece : split(pieces, '|')) {
    print(piece.empty() ? stamper.release() : stamper.take(piece, ++now));
  }
}

// PIECE|PIECE...: shows what waits in the end, and how many lines were left out. At an empty one
// the user takes five bytes.
void queue(Serial&, const std::string& pieces, bool) {
  LineQueue queue;
  for (const std::string& piece : split(pieces, '|')) {
    piece.empty() ? queue.pop(5) : queue.push(piece);
  }
  print(queue.front());
  print(std::to_string(queue.take_dropped()));
}

const bool CASES = add_cases("Stamper", "stamper", {{"send", send}, {"queue", queue}});

}  // namespace

TEST(StamperTest, DoesNotHoldWhatIsTooLongForARecord) {
  EXPECT_EQ("", Stamper().take(std::string(969, ' '), 1));
  EXPECT_EQ(std::string(970, ' '), Stamper().take(std::string(970, ' '), 1));
}

}  // namespace sonic::port
