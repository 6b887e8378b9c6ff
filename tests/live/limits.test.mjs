// Where something begins and ends: the last that counts, and the first that does not.

import assert from 'node:assert/strict';
import test from 'node:test';
import {Gaps} from '../../live/model/gaps.js';
import {HalfHours} from '../../live/model/half_hours.js';
import {parseRecord} from '../../live/model/record.js';
import {RecordWindow, toCsv} from '../../live/model/record_window.js';
import {parseMonth} from '../../live/model/stations.js';
import {Unreadable} from '../../live/model/unreadable.js';

const MINUTE = 60000;
const record = (seconds) => parseRecord(`{"SECONDS": ${seconds}, "NANOSECONDS": 0, "u": 1.5}`);

test('the half hours of a good and of a fair day', () => {
  const quality = (percent) => new HalfHours(
    ['start,records,percent', `2026-11-23T00:00:00Z,1,${percent}`], 0).quality(0);
  assert.deepEqual(['99.00', '98.99', '90.00', '89.99'].map(quality),
    ['good', 'fair', 'fair', 'poor']);
});

test('a month is that of one station', () => {
  const month = (...names) => parseMonth(JSON.stringify(
    {format: 1, written: '2026-11-23T03:01:00Z', stations: names.map((name) => ({name}))}));
  assert.equal(month('m1').name, 'm1');
  assert.equal(month('m1', 'm2'), null);
});

test('a time is not before 1970', () => {
  assert.equal(record(0).time, 0);
  assert.equal(record(-1), null);
});

test('a table goes through its last moment', () => {
  const window = new RecordWindow();
  for (const seconds of [1, 2, 3]) window.add(record(seconds));
  const rows = toCsv(window.columns(), 2, 3).trim().split('\n').slice(1);
  assert.deepEqual(rows.map((row) => row.split(',')[0]), ['2', '3']);
});

test('what cannot be read counts for ten minutes, and is a sign of life unless retained', () => {
  const unreadable = new Unreadable();
  unreadable.add('x', 5 * MINUTE, true);
  assert.equal(unreadable.lastAt, null);
  assert.deepEqual([unreadable.count(15 * MINUTE - 1), unreadable.count(15 * MINUTE)], [1, 0]);
  unreadable.add('y', 6 * MINUTE, false);
  assert.equal(unreadable.lastAt, 6 * MINUTE);
});

test('a gap is found when five intervals have not made up for it', () => {
  const found = [];
  const gaps = new Gaps((gap) => found.push(gap.missed));
  const times = [0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 13, 14, 15, 16].map((tenths) => tenths / 10);
  const seen = times.slice(1).map((time, i) => gaps.add(times[i], time, false) ?? found.length);
  assert.equal(seen.at(-1), 0);
  gaps.add(1.6, 1.7, false);
  assert.deepEqual(found, [2]);
});
