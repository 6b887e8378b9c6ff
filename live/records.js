'use strict';
// Records: from a message to the last ten minutes of them.

const WINDOW_SECONDS = 600;
const VALUES = ['u', 'v', 'w', 'sos', 'ts', 'diag'];
const LAST_DATE = 253402300799;  // the end of 9999: later dates look otherwise, or are none

/// The record in a message, or null if there is none. The program passes on what the instrument
/// wrote, so a value that is missing makes text that is no JSON; and anybody on the device may
/// publish. A value that is not a number becomes NaN.
function parseRecord(text) {
  let message;
  try {
    message = JSON.parse(text);
  } catch {
    return null;
  }
  const isTime = (value) => Number.isFinite(value) && value >= 0 && value < LAST_DATE;
  if (!message || !isTime(message.SECONDS) || !isTime(message.NANOSECONDS)) return null;
  const record = {
    seconds: message.SECONDS,
    nanoseconds: message.NANOSECONDS,
    time: message.SECONDS + message.NANOSECONDS / 1e9,
  };
  for (const name of VALUES) {
    const value = name === 'diag' && /^\d+$/.test(message.diag) ? Number(message.diag) : message[name];
    record[name] = Number.isFinite(value) ? value : NaN;
  }
  return record;
}

/// The records of the last ten minutes of record time, a column each, in ascending order. Plain
/// arrays of numbers that are used again and again: an hour of records leaves nothing to collect.
class RecordWindow {
  constructor() {
    this.names = ['time', 'seconds', 'nanoseconds', ...VALUES];
    this.clear();
  }

  clear() {
    this.start = this.end = 0;
    this.arrays = this.names.map(() => new Float64Array(2048));
  }

  get length() {
    return this.end - this.start;
  }

  /// The record must be later than all before it.
  add(record) {
    if (this.end === this.arrays[0].length) this.makeRoom();
    this.names.forEach((name, i) => { this.arrays[i][this.end] = record[name]; });
    this.end++;
    const times = this.arrays[0];
    while (times[this.start] < record.time - WINDOW_SECONDS) this.start++;
  }

  has(time) {
    const times = this.arrays[0];
    const i = firstNotBefore(times, time, this.start, this.end);
    return i < this.end && times[i] === time;
  }

  /// By name; valid until the next record comes.
  columns() {
    return Object.fromEntries(
      this.names.map((name, i) => [name, this.arrays[i].subarray(this.start, this.end)]));
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

/// The first index from `start` to `end` whose time is not before `time`.
function firstNotBefore(times, time, start = 0, end = times.length) {
  while (start < end) {
    const middle = (start + end) >> 1;
    if (times[middle] < time) start = middle + 1;
    else end = middle;
  }
  return start;
}

/// The records from one time to another as a CSV file's text.
function toCsv(columns, from, to) {
  const start = firstNotBefore(columns.time, from);
  const names = ['seconds', 'nanoseconds', ...VALUES];
  const lines = ['SECONDS,NANOSECONDS,' + VALUES.join()];
  for (let i = start; i < columns.time.length && columns.time[i] <= to; i++) {
    lines.push(names.map((name) => Number.isNaN(columns[name][i]) ? '' : columns[name][i]).join());
  }
  return lines.join('\n') + '\n';
}
