// Speed, direction and means.

import assert from 'node:assert/strict';
import test from 'node:test';
import {direction, means, speed, turnedText} from '../../live/model/wind.js';
import {windRose} from '../../live/model/rose.js';

test('where the wind comes from, clockwise from the instrument\'s north', () => {
  const cases = [  // u is from the east, v from the north
    [0, 1, 0, 0], [1, 0, 0, 90], [0, -1, 0, 180], [-1, 0, 0, 270], [3.16, -1.20, 0, 110.8],
    [1, 0, 30, 120], [-1, 0, 100, 10], [0, 1, -30, 330], [0, 0, 0, NaN], [NaN, 1, 0, NaN],
  ];
  for (const [u, v, angle, from] of cases) {
    assert.equal(Number(direction(u, v, angle).toFixed(1)), from, `${u} ${v} ${angle}`);
  }
  assert.equal(speed(3, -4), 5);
});

test('a direction as text keeps its digits', () => {
  const cases = [['110.83', 0, '110.83'], ['350.50', 30, '20.50'], ['5.00', -10, '355.00'],
    ['', 30, ''], ['359.99', 0.01, '0.00'], ['7', 30.4, '37'],
    ['5.4', 354.57, '0.0']];
  for (const [text, angle, expected] of cases) assert.equal(turnedText(text, angle), expected);
});

/** Columns of records at `rate` whose u is given by index and whose v is 0. */
function columnsOf(count, rate, u, diag = () => 0) {
  const column = (value) => Float64Array.from({length: count}, (_, i) => value(i));
  const [time, v] = [column((i) => 1e9 + i / rate), column(() => 0)];
  return {time, u: column(u), v, diag: column(diag)};
}

test('means leave out records with a fault, and what is older', () => {
  const columns = columnsOf(32 * 90, 32, (i) => i < 32 * 30 ? 9 : 2, (i) => i === 2000 ? 5 : 0);
  columns.u[2000] = 500;
  columns.u[2001] = NaN;
  const {seconds, ...mean} = means(columns, 60 - 1 / 64, 32);
  assert.deepEqual(mean, {speed: 2, direction: 90, gust: 2});
  assert.ok(Math.abs(seconds - 60) < 0.1);
  assert.equal(means(columnsOf(10, 32, () => 1, () => 1), 60, 32), null);
});

test('a gust is the highest mean of three seconds that have all their records', () => {
  const isGust = (i) => i >= 320 && i < 320 + 96;
  const cases = [
    ['three seconds of 8', columnsOf(3200, 32, (i) => isGust(i) ? 8 : 2), 32, 8],
    ['one and a half', columnsOf(3200, 32, (i) => isGust(i + 48) && isGust(i) ? 8 : 2), 32, 5],
    ['a rate that is not quite right', columnsOf(3200, 32, (i) => isGust(i) ? 8 : 2), 32.4, 7.94],
    ['one record a second', columnsOf(100, 1, () => 2), 1, NaN],
    ['an unknown rate', columnsOf(100, 32, () => 2), 0, NaN],
    ['too few records', columnsOf(95, 32, () => 2), 32, NaN],
    ['half of them missing', columnsOf(1600, 16, () => 2), 32, NaN],
  ];
  for (const [name, columns, rate, gust] of cases) {
    assert.equal(Number(means(columns, 600, rate).gust.toFixed(2)), gust, name);
  }
});

test('a wind rose counts by sector, and north is the middle of one', () => {
  const {counts, total} = windRose([359, 11, 12, null, 180, 90], [1, 2, 4.9, 3, null, 99]);
  assert.equal(total, 4);
  assert.deepEqual([counts[0], counts[1], counts[4]], [[1, 1, 0, 0], [0, 1, 0, 0], [0, 0, 0, 1]]);
});
