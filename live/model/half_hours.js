// Half hours, as the lines that `sonic-records --half-hours --format csv` prints.

export const HALF_HOUR = 1800;
export const DAY = 86400;
const MAX_HALF_HOURS = 62 * 48;  // two months; what is older is left out

const GOOD_PERCENT = 99;
const FAIR_PERCENT = 90;

/**
 * One instrument's half hours on a grid without holes: index i stands for the half hour that begins
 * at `starts[i]`, seconds since 1970. A half hour without a row has no records.
 */
export class HalfHours {
  /** `lines` are those of the table, the names of the columns first; `written` in milliseconds. */
  constructor(lines, written) {
    this.lines = lines;
    this.written = written;
    this.names = (lines[0] ?? '').split(',');
    const rows = new Map();
    for (const line of lines.slice(1)) {
      const cells = line.split(',');
      const start = Date.parse(cells[this.names.indexOf('start')]) / 1000;
      if (start % HALF_HOUR === 0) rows.set(start, cells);
    }
    const starts = [...rows.keys()];
    const latest = starts.reduce((a, b) => Math.max(a, b), -Infinity);
    // The half hour in which the file was written is not over.
    const finished = Math.floor(written / 1000 / HALF_HOUR) * HALF_HOUR;
    const longest = MAX_HALF_HOURS * HALF_HOUR;
    this.end = Math.max(latest + HALF_HOUR, Math.min(finished, latest + longest));
    const first = Math.max(starts.reduce((a, b) => Math.min(a, b), Infinity), this.end - longest);
    this.starts = [];
    for (let start = first; start < this.end; start += HALF_HOUR) this.starts.push(start);
    this.rows = this.starts.map((start) => rows.get(start) ?? null);
  }

  get length() {
    return this.starts.length;
  }

  /** A cell as it is in the table; empty where there is none. */
  text(i, name) {
    return this.rows[i]?.[this.names.indexOf(name)] ?? '';
  }

  /** The same as a number, or null. */
  number(i, name) {
    const text = this.text(i, name);
    return text === '' || !Number.isFinite(Number(text)) ? null : Number(text);
  }

  /** A column of numbers from index `from` to before `to`. */
  column(name, from = 0, to = this.length) {
    return this.starts.slice(from, to).map((_, k) => this.number(from + k, name));
  }

  /** How much of the records is there: good, fair, poor, none, or unknown without the rate. */
  quality(i) {
    if (this.rows[i] === null) return 'none';
    const percent = this.number(i, 'percent');
    if (percent === null) return this.number(i, 'records') ? 'unknown' : 'none';
    return percent >= GOOD_PERCENT ? 'good' : percent >= FAIR_PERCENT ? 'fair' : 'poor';
  }

  /** Percent of the expected records of a day's finished half hours; null if there are none. */
  percentOfDay(midnight) {
    const expectedOf = (i) => this.number(i, 'expected');
    const usual = Math.max(0, ...this.starts.map((_, i) => expectedOf(i)));
    let [records, expected] = [0, 0];
    this.starts.forEach((start, i) => {
      if (start < midnight || start >= midnight + DAY) return;
      records += this.number(i, 'records') ?? 0;
      expected += expectedOf(i) ?? usual;
    });
    return expected > 0 ? 100 * records / expected : null;
  }

  /** These half hours and earlier ones of the same instrument, such as the month before. */
  withEarlier(earlier) {
    return new HalfHours([...this.lines.slice(0, 1), ...earlier.lines.slice(1),
      ...this.lines.slice(1)], this.written);
  }
}
