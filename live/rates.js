'use strict';
// How many records arrive in a second, by this computer's clock.

class Rates {
  constructor() {
    this.counts = new Uint32Array(64);  // by second, modulo 64
    this.first = this.last = null;
  }

  add(now) {
    const second = Math.floor(now / 1000);
    this.forget(second);
    this.counts[second % 64]++;
  }

  /// Mean of the last `seconds` whole seconds, or of as many as there were since the first record;
  /// null before the first of them is over.
  mean(now, seconds) {
    if (this.first === null) return null;
    const second = Math.floor(now / 1000);
    this.forget(second);
    const whole = Math.min(seconds, second - this.first - 1);
    if (whole < 1) return null;
    let sum = 0;
    for (let i = 1; i <= whole; i++) sum += this.counts[(second - i) % 64];
    return sum / whole;
  }

  /// Clears the seconds that have gone by without a record.
  forget(second) {
    if (this.first === null) this.first = this.last = second;
    if (second - this.last > 64 || second < this.last) {  // the latter: the clock was set back
      this.counts.fill(0);
      this.first = second;
    } else {
      while (this.last < second) this.counts[++this.last % 64] = 0;
    }
    this.last = second;
  }
}
