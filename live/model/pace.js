// Record time against arrival: whether the logger's clock was set.

import {WINDOW_SECONDS} from './record_window.js';

const TOLERANCE_SECONDS = 0.2;  // a shorter step looks like a late record
const RECORDS_IN_PACE = 8;
const PERIOD_SECONDS = 300;  // the clocks drift apart, so the least delay is one of recent records

/**
 * A record cannot arrive before it is stamped. So if one arrives with less delay than any before
 * it, although they arrived as they were stamped, the logger's clock was set forward in between.
 */
export class Pace {
  constructor() {
    this.reset();
  }

  /** Forgets everything, as when the page did not listen for a while. */
  reset() {
    this.recent = [];
    this.periods = [];  // {end, least}: least delay in it; the last two
  }

  /** Takes a record's time and its arrival by any clock that is never set, both in seconds. */
  add(time, arrival) {
    this.recent.push({time, arrival});
    if (this.recent.length > RECORDS_IN_PACE) this.recent.shift();
    let period = this.periods.at(-1);
    if (!period || arrival > period.end) {
      period = {end: arrival + PERIOD_SECONDS, least: Infinity};
      this.periods = [...this.periods.slice(-1), period];
    }
    period.least = Math.min(period.least, arrival - time);
  }

  /** Whether the clock was set forward before this record, which is not added yet. */
  isAhead(time, arrival) {
    const last = this.recent.at(-1);
    if (!last) return false;
    // Nothing that was only held up is so much later than what arrived just before it.
    if (time - last.time - (arrival - last.arrival) > WINDOW_SECONDS) return true;
    const usual = Math.min(...this.periods.map((period) => period.least));
    return this.isInPace() && arrival - time < usual - TOLERANCE_SECONDS;
  }

  /** Whether the last records arrived about as they were stamped, not all at once from a queue. */
  isInPace() {
    const first = this.recent[0];
    const last = this.recent.at(-1);
    return this.recent.length === RECORDS_IN_PACE &&
      last.arrival - first.arrival > (last.time - first.time) / 2;
  }
}
