// Messages on a record topic that are not records.

const MINUTES = 10;
const MAX_TEXT_CHARACTERS = 150;

/** Counts them over the last ten minutes, so that what is over goes away. */
export class Unreadable {
  constructor() {
    this.counts = [];  // {minute, count}, oldest first
    this.text = '';
    this.lastAt = null;  // when the last arrived; null if none has since the connection
  }

  add(text, now, retained) {
    const minute = Math.floor(now / 60000);
    if (this.counts.at(-1)?.minute !== minute) this.counts.push({minute, count: 0});
    this.counts.at(-1).count++;
    this.counts = this.counts.slice(-MINUTES);
    this.text = text.slice(0, MAX_TEXT_CHARACTERS);
    if (!retained) this.lastAt = now;
  }

  /** How many there were in the last ten minutes. */
  count(now) {
    const oldest = Math.floor(now / 60000) - MINUTES;
    return this.counts.filter(({minute}) => minute > oldest)
      .reduce((sum, {count}) => sum + count, 0);
  }
}
