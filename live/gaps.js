'use strict';
// Gaps in record time: what is missing between one record and the next.

const INTERVALS = 31;  // how many the usual interval is taken from
const ENOUGH_INTERVALS = 8;
const GAP = 1.75;  // of the usual interval: time stamps are not quite even
const SETTLED = 5;  // after so many intervals a record that was only stamped late is made up for
const NEW_START_SECONDS = 2;  // after so long the instrument may come back at another rate
const BURST_SECONDS = 1 / 64;  // closer together than at any rate: they were held up

class Gaps {
  /// `onGap({from, to, missed})` is told of each gap; `missed` is 0 where it is not known how many.
  constructor(onGap) {
    this.onGap = onGap;
    this.list = [];
    this.intervals = [];
    this.late = null;  // a long interval that may be a gap
  }

  /// Looks at two records that came one after the other. When this page was `deaf` in between, it
  /// is not known that anything was missed: it may well be in the file.
  add(from, to, deaf) {
    const interval = to - from;
    const usual = this.usualInterval();
    const long = interval > (usual ? GAP * usual : NEW_START_SECONDS);
    if (this.late) this.settle(from, interval, long || deaf);
    if (long && deaf) this.found(from, to, 0);
    else if (long) this.late = {from, to, usual, intervals: 1};
    if (long && interval > NEW_START_SECONDS) this.intervals.length = 0;
    else if (!deaf && interval > BURST_SECONDS) this.intervals.push(interval);
    if (this.intervals.length > INTERVALS) this.intervals.shift();
  }

  /// Decides on the long interval when the time that it and those after it took shows whether records
  /// are missing. As long as they come in a burst they were only held up.
  settle(time, interval, atOnce) {
    const {from, to, usual, intervals} = this.late;
    const isNewStart = to - from > NEW_START_SECONDS;
    if (!atOnce && (interval < BURST_SECONDS || (intervals < SETTLED && !isNewStart))) {
      this.late.intervals++;
      return;
    }
    this.late = null;
    const missed = usual ? Math.round((time - from) / usual) - intervals : 0;
    if (missed > 0 || !usual) this.found(from, to, missed);
  }

  found(from, to, missed) {
    this.list = this.list.filter((gap) => gap.to > to - WINDOW_SECONDS);
    this.list.push({from, to, missed});
    this.onGap({from, to, missed});
  }

  /// The median, so that no single gap spoils it; 0 while it is not known.
  usualInterval() {
    if (this.intervals.length < ENOUGH_INTERVALS) return 0;
    const sorted = this.intervals.slice().sort((a, b) => a - b);
    return sorted[sorted.length >> 1];
  }

  /// Records missed in the ten minutes before `end`; of a longer gap, the part in them.
  missed(end) {
    const start = end - WINDOW_SECONDS;
    const part = (gap) => (gap.to - Math.max(gap.from, start)) / (gap.to - gap.from);
    return Math.round(this.list.filter((gap) => gap.to > start)
      .reduce((sum, gap) => sum + gap.missed * part(gap), 0));
  }
}
