// The last ten minutes of records.

import {decimalsOf, VALUES} from './record.js';
import {formatValue} from './format.js';

export const WINDOW_SECONDS = 600;
const NAMES = ['time', 'seconds', 'nanoseconds', 'decimals', ...VALUES];
const FIRST_VALUE = NAMES.length - VALUES.length;
const FIRST_CAPACITY = 256;

/**
 * The records of the last ten minutes of record time, a column each, in ascending order of time.
 * The arrays are used again and again: an hour of records leaves nothing to collect.
 */
export class RecordWindow {
  constructor() {
    this.start = this.end = 0;
    this.arrays = NAMES.map(() => new Float64Array(FIRST_CAPACITY));
  }

  get length() {
    return this.end - this.start;
  }

  /** Adds a record; what is then older than ten minutes goes. */
  add(record) {
    if (this.end === this.arrays[0].length) this.makeRoom();
    const times = this.arrays[0];
    const i = firstNotBefore(times, record.time, this.start, this.end);
    if (i < this.end) this.arrays.forEach((array) => array.copyWithin(i + 1, i, this.end));
    NAMES.forEach((name, k) => { this.arrays[k][i] = record[name]; });
    this.end++;
    while (times[this.start] < times[this.end - 1] - WINDOW_SECONDS) this.start++;
  }

  /** Whether this very record is there: a topic and its bridge may bring it again. */
  has(record) {
    const i = firstNotBefore(this.arrays[0], record.time, this.start, this.end);
    return i < this.end && this.arrays[0][i] === record.time &&
      VALUES.every((name, k) => Object.is(this.arrays[FIRST_VALUE + k][i], record[name]));
  }

  /** Moves all records in time, after the logger's clock was set. */
  shift(seconds) {
    const times = this.arrays[0];
    for (let i = this.start; i < this.end; i++) times[i] += seconds;
  }

  /**
   * By name; valid until the next record arrives. `time` has all records on the logger's present
   * clock; `seconds` and `nanoseconds` are each record's own stamp.
   */
  columns() {
    return Object.fromEntries(
      NAMES.map((name, i) => [name, this.arrays[i].subarray(this.start, this.end)]));
  }

  /** The latest record, or null. */
  latest() {
    if (!this.length) return null;
    return Object.fromEntries(NAMES.map((name, i) => [name, this.arrays[i][this.end - 1]]));
  }

  /** Replaces the content by what columns() gave. */
  restore(columns) {
    this.start = 0;
    this.end = columns.time.length;
    this.arrays = NAMES.map((name) => {
      const array = new Float64Array(Math.max(2 * this.end, FIRST_CAPACITY));
      array.set(columns[name]);
      return array;
    });
  }

  makeRoom() {
    const kept = this.arrays.map((array) => array.subarray(this.start, this.end));
    if (this.start < this.end / 4) {
      this.arrays = this.arrays.map((array) => new Float64Array(2 * array.length));
    }
    this.arrays.forEach((array, i) => array.set(kept[i]));
    this.end -= this.start;
    this.start = 0;
  }
}

/** The first index from `start` to `end` whose time is not before `time`. */
export function firstNotBefore(times, time, start = 0, end = times.length) {
  while (start < end) {
    const middle = (start + end) >> 1;
    if (times[middle] < time) start = middle + 1;
    else end = middle;
  }
  return start;
}

/**
 * The records from one time to another as `sonic-records --epoch --format csv` prints them, with
 * the column `station` if there is a name. Values are as they were sent.
 */
export function toCsv(columns, from, to, station = '') {
  const lines = [(station ? 'station,' : '') + 'seconds,nanoseconds,' + VALUES.join()];
  // As sonic-records writes a name: without what would end a cell.
  const prefix = station ? `${station.replace(/[\p{Cc}",\\]/gu, '?')},` : '';
  const end = columns.time.length;
  for (let i = firstNotBefore(columns.time, from); i < end && columns.time[i] <= to; i++) {
    const values = VALUES.map((name) => Number.isNaN(columns[name][i]) ? '' :
      formatValue(columns[name][i], decimalsOf(columns.decimals[i], name)));
    lines.push(`${prefix}${columns.seconds[i]},${columns.nanoseconds[i]},${values.join()}`);
  }
  return lines.join('\n') + '\n';
}
