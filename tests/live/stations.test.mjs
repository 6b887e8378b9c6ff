// The written file, its half hours, and the notifications that data stopped.

import assert from 'node:assert/strict';
import {readFile} from 'node:fs/promises';
import test from 'node:test';
import {HalfHours} from '../../live/model/half_hours.js';
import {instrumentsOf, parseMonth, parseStations, roomTexts, stationOf}
  from '../../live/model/stations.js';
import {SilenceWatch} from '../../live/model/watch.js';

const HEAD = 'start,records,expected,percent,u';
const WRITTEN = Date.parse('2026-11-23T03:01:00Z');
const LINES = [HEAD, '2026-11-22T23:30:00Z,57024,57600,99.00,1.5000',
  '2026-11-23T00:00:00Z,28800,57600,50.00,-0.2500', '2026-11-23T00:30:00Z,0,57600,0.00,',
  '2026-11-23T01:30:00Z,51840,57600,90.00,2.0000', 'nonsense', '2026-11-23T01:31:00Z,1,1,1,1'];

test('half hours are on a grid up to the last finished one', () => {
  const halfHours = new HalfHours(LINES, WRITTEN);
  assert.equal(halfHours.length, 7);
  assert.equal(halfHours.end, Date.parse('2026-11-23T03:00:00Z') / 1000);
  assert.deepEqual(halfHours.starts.map((_, i) => halfHours.quality(i)),
    ['good', 'poor', 'poor', 'none', 'fair', 'none', 'none']);
  assert.deepEqual(halfHours.column('u'), [1.5, -0.25, null, null, 2, null, null]);
  assert.deepEqual([halfHours.text(0, 'u'), halfHours.text(3, 'u'), halfHours.text(0, 'gust')],
    ['1.5000', '', '']);
  const midnight = Date.parse('2026-11-23') / 1000;
  assert.equal(halfHours.percentOfDay(midnight), 100 * (28800 + 51840) / (6 * 57600));
  assert.equal(halfHours.percentOfDay(midnight - 86400), 99);
  assert.equal(halfHours.percentOfDay(midnight + 86400), null);
});

test('half hours at the limits of quality, of an unknown rate, of none, and of two months', () => {
  assert.equal(new HalfHours([HEAD, '2026-11-23T00:00:00Z,28800,,,1'], WRITTEN).quality(0), 'unknown');
  const quality = (percent) =>
    new HalfHours([HEAD, `2026-11-23T00:00:00Z,1,1,${percent},1`], WRITTEN).quality(0);
  assert.deepEqual(['99.00', '98.99', '90.00', '89.99'].map(quality),
    ['good', 'fair', 'fair', 'poor']);
  assert.equal(new HalfHours([], NaN).length, 0);
  assert.equal(new HalfHours([HEAD, '1999-01-01T00:00:00Z,1,1,1,1', LINES[1]], WRITTEN).length, 2976);
  assert.equal(new HalfHours(LINES, WRITTEN * 2).length, 2976);
  const months = new HalfHours(LINES, WRITTEN)
    .withEarlier(new HalfHours([HEAD, '2026-11-22T22:00:00Z,1,2,50.00,7'], WRITTEN));
  assert.deepEqual(months.column('u', 0, 5), [7, null, null, 1.5, -0.25]);
});

test('whose half hours a port has', () => {
  const instrument = (serial, port) => ({serial_number: serial, port, mounting_angle: 30});
  const file = (...stations) => parseStations(JSON.stringify({format: 1, written: '2026-11-23T03:01:00Z', stations}));
  const mast = (name, ...instruments) => ({name, instruments});
  const one = file(mast('m1', instrument('A', '1'), instrument('B', '2'), instrument('C', '1')));
  const two = file(mast('m1', instrument('A')), mast('m2', instrument('B', '1'), null),
    mast('m3', instrument('C'), instrument('D')));
  const cases = [
    [one, '', '1', 'A C'], [one, '', '2', 'B'], [one, '', '3', ''], [one, 'm2', '1', ''],
    [two, 'm1', '7', 'A'], [two, 'm1', '', 'A'], [two, 'm2', '1', 'B'], [two, 'm2', '7', ''], [two, '', '1', ''],
    [two, 'm3', '', 'C D'], [two, 'm3', '1', ''],
  ];
  for (const [{stations}, device, number, serials] of cases) {
    const found = instrumentsOf(stationOf(stations, device), number);
    assert.equal(found.map(({serialNumber}) => serialNumber).join(' '), serials);
  }
  assert.equal(one.stations[0].instruments[0].angle, 30);
});

test('a file that is missing or of a later form is ignored', () => {
  const texts = ['', '{', 'null', '[]', '{"format": 2, "written": "2026-11-23T03:01:00Z"}',
    '{"format": 1, "written": "yesterday", "stations": []}'];
  for (const text of texts) {
    assert.equal(parseStations(text), null);
    assert.equal(parseMonth(text), null);
  }
  const month = (...names) => parseMonth(JSON.stringify(
    {format: 1, written: '2026-11-23T03:01:00Z', stations: names.map((name) => ({name}))}));
  assert.equal(month('m1').name, 'm1');
  assert.equal(month('m1', 'm2'), null);
});

test('the examples in the document', async () => {
  const text = await readFile(new URL('../../doc/live-data.md', import.meta.url), 'utf8');
  const examples = [...text.matchAll(/```json\n([^]*?)```/g)].map(([, json]) => json);
  const [logger, month, byHand] = [examples[0], `{"format": 1, "written": "2026-11-23T14:31:07Z",
    "stations": [${examples[1]}]}`, examples[2]].map(parseStations);
  assert.equal(logger.stations[0].instruments[0].halfHours.text(0, 'w'), '-0.0218');
  assert.deepEqual(Object.keys(month.stations[0].files), ['2026-10', '2026-11']);
  assert.deepEqual(byHand.stations.map(({instruments: [{angle}]}) => angle), [12, 355]);
});

test('the room on the disk, with and without a warning', () => {
  const disk = {free_bytes: 12345678900, day_bytes: 189900000, days: 65, warning: null};
  const warning = 'room for 3 days of data left';
  assert.deepEqual(roomTexts([disk, {...disk, free_bytes: 6e8, days: 3, warning}]), [
    {isWarning: false, text: 'Room for 65 days: 12.3 GB free, 190 MB arrived in a day'},
    {isWarning: true, text: 'Room for 3 days: 600 MB free, 190 MB arrived in a day. ' +
      'sonicd-room: room for 3 days of data left'},
  ]);
});

test('nothing is notified twice, or if it is not so', () => {
  const looks = [  // now, last sign of life, notifications
    [0, null, ''], [299, null, ''], [300, null, 'silent'], [900, null, ''], [1000, 1000, 'back'],
    [1299, 1000, ''], [1300, 1000, 'silent'], [1301, 1301, 'back'],
  ];
  const watch = new SilenceWatch();
  for (const [now, heardAt, notified] of looks) {
    const {silent, back} = watch.look([{name: 'a', heardAt, since: 0}], now, 300);
    assert.equal([...silent.map(() => 'silent'), ...back.map(() => 'back')].join(), notified, `${now}`);
  }
  const loadedAgain = new SilenceWatch(['a']);
  assert.deepEqual(loadedAgain.look([{name: 'a', heardAt: null, since: 2000}], 2001, 300),
    {silent: [], back: []});
});
