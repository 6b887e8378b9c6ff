// How many records arrive in a second, by this computer's clock.

const SECONDS = 64;

export class Rates {
  constructor() {
    this.counts = new Uint32Array(SECONDS);  // by second, modulo their number
    this.first = this.last = null;
  }

  /** A record arrived; all times in milliseconds. */
  add(now) {
    const second = Math.floor(now / 1000);
    this.forget(second);
    this.counts[second % SECONDS]++;
  }

  /**
   * Mean of the last `seconds` whole seconds, or of as many as there were since the first record;
   * null before the first of them is over.
   */
  mean(now, seconds) {
    if (this.first === null) return null;
    const second = Math.floor(now / 1000);
    this.forget(second);
    const whole = Math.min(seconds, second - this.first - 1);
    if (whole < 1) return null;
    let sum = 0;
    for (let i = 1; i <= whole; i++) sum += this.counts[(second - i) % SECONDS];
    return sum / whole;
  }

  /** Clears the seconds that have gone by without a record. */
  forget(second) {
    if (this.first === null) this.first = this.last = second;
    if (second - this.last > SECONDS) {
      this.counts.fill(0);
      this.first = second;
    } else {
      while (this.last < second) this.counts[++this.last % SECONDS] = 0;
    }
    this.last = second;
  }
}
