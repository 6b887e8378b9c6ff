// Gaps in record time: what is missing between one record and the next.

import {WINDOW_SECONDS} from './record_window.js';

const INTERVALS = 31;  // how many the usual interval is taken from
const MIN_INTERVALS = 8;
const GAP = 1.75;  // of the usual interval: stamps are not quite even
const SETTLED = 5;  // after this many intervals a record that was only stamped late is made up for
const CATCHING_UP = 0.75;  // of the usual interval: records that were held up are still arriving
const MAX_CATCHING_UP_INTERVALS = 64;  // intervals; after more the instrument has another rate
const NEW_START_SECONDS = 2;  // after so long the instrument may return at another rate
const MAX_BURST_SECONDS = 1 / 64;  // closer together than at any rate: they were held up

export class Gaps {
  /** `onGap({from, to, missed})` hears of each gap; `missed` is 0 if it is not known how many. */
  constructor(onGap) {
    this.onGap = onGap;
    this.list = [];
    this.intervals = [];
    this.late = null;  // a long interval that may be a gap
  }

  /** Whether a pause of this many seconds between two records is unusual. */
  isLong(interval) {
    const usual = this.usualInterval();
    return interval > (usual ? GAP * usual : NEW_START_SECONDS);
  }

  /**
   * Looks at two records that arrived one after the other. If this page was `deaf` in between,
   * nothing may be missing: it may well be in the file.
   */
  add(from, to, deaf) {
    const interval = to - from;
    const long = this.isLong(interval);
    if (this.late) this.settle(from, interval, long || deaf);
    if (long && deaf) this.found(from, to, 0);
    else if (long) this.late = {from, to, usual: this.usualInterval(), intervals: 1};
    if (long && interval > NEW_START_SECONDS) this.intervals.length = 0;
    else if (!deaf && interval > MAX_BURST_SECONDS) this.intervals.push(interval);
    if (this.intervals.length > INTERVALS) this.intervals.shift();
  }

  /**
   * Decides on the long interval when the time that it and those after it took shows whether
   * records are missing. If they arrive faster than usual, they were only held up.
   */
  settle(time, interval, atOnce) {
    const {from, to, usual, intervals} = this.late;
    const isNewStart = to - from > NEW_START_SECONDS;
    const isCatchingUp = interval < (CATCHING_UP * usual || MAX_BURST_SECONDS);
    const enough = isCatchingUp ? MAX_CATCHING_UP_INTERVALS : isNewStart ? 0 : SETTLED;
    if (!atOnce && intervals < enough) {
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

  /** A record of this time has arrived after all, later than its successors. */
  fill(time) {
    const isIn = (gap) => gap && gap.from < time && time < gap.to;
    if (isIn(this.late)) this.late.intervals++;
    const gap = this.list.find(isIn);
    if (gap && gap.missed > 0) gap.missed--;
  }

  /** Moves all gaps in time, after the logger's clock was set. */
  shift(seconds) {
    for (const gap of [...this.list, ...(this.late ? [this.late] : [])]) {
      gap.from += seconds;
      gap.to += seconds;
    }
  }

  /** The median, so that no single gap spoils it; 0 while it is not known. */
  usualInterval() {
    if (this.intervals.length < MIN_INTERVALS) return 0;
    const sorted = this.intervals.slice().sort((a, b) => a - b);
    return sorted[sorted.length >> 1];
  }

  /** Records missed in the ten minutes before `end`; of a longer gap, the part in them. */
  missed(end) {
    const start = end - WINDOW_SECONDS;
    const part = (gap) => (gap.to - Math.max(gap.from, start)) / (gap.to - gap.from);
    return Math.round(this.list.filter((gap) => gap.to > start)
      .reduce((sum, gap) => sum + gap.missed * part(gap), 0));
  }
}
