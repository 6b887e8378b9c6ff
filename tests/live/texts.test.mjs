// What people read: numbers, times, states, and values as they were sent.

import assert from 'node:assert/strict';
import test from 'node:test';
import {timeLabels} from '../../live/model/axis.js';
import {compareNames, formatAge, formatCount, formatDegrees, formatSpan, formatValue, shorten}
  from '../../live/model/format.js';
import {inOrder} from '../../live/model/order.js';
import {parseRecord} from '../../live/model/record.js';
import {RecordWindow, toCsv} from '../../live/model/record_window.js';
import {portState, stampAge} from '../../live/model/state.js';
import {statusMeaning} from '../../live/model/status.js';
import {Unreadable} from '../../live/model/unreadable.js';

test('numbers and spans', () => {
  const cases = [
    [formatValue(1.005, 1), '1.0'], [formatValue(-0, 2), '-0.00'], [formatValue(NaN), '–'],
    [formatDegrees(359.6), '0°'], [formatDegrees(NaN), '–'], [formatCount(57600), '57\u202f600'],
    [formatSpan(3.53125), '3.531 s'], [formatSpan(2204562854.6), '69 y 330 d'],
    [formatAge(59999), '59 s'], [formatAge(185e3), '3 min 5 s'], [formatAge(7800e3), '2 h 10 min'],
    [formatAge(-5), '0 s'], [shorten('abc', 3), 'abc'], [shorten('abcd', 3), 'abc… (4 characters)'],
  ];
  for (const [got, expected] of cases) assert.equal(got, expected);
});

test('no two labels of a time axis are the same', () => {
  const labels = (first, distance) =>
    timeLabels([0, 1, 2].map((k) => 1700002800 + first + k * distance), distance);
  const cases = [
    [0, 0.05, ['23:00:00.00', '23:00:00.05', '23:00:00.10']],
    [0, 0.5, ['23:00:00.0', '23:00:00.5', '23:00:01.0']],
    [0, 10, ['23:00:00', '23:00:10', '23:00:20']],
    [0, 1800, ['23:00', '23:30', '15 Nov']],
    [3600, 86400, ['15 Nov', '16 Nov', '17 Nov']],
  ];
  for (const [first, distance, expected] of cases) {
    assert.deepEqual(labels(first, distance), expected);
  }
});

test('a table has the values as they were sent', () => {
  const records = ['"u" : 0.80, "v" : -0.00, "w" : 1.234567, "sos" : 343, "ts" : null, "diag" : "7"',
    '"u" : 1.50, "v" : 12.5, "w" : 0.0, "sos" : 343.20, "ts" : 20.10, "diag" : "0"'];
  const window = new RecordWindow();
  records.forEach((values, i) =>
    window.add(parseRecord(`{ "SECONDS" : 170000200${i}, "NANOSECONDS" : 31250000, ${values} }`)));
  assert.equal(toCsv(window.columns(), 0, 1e10),
    'seconds,nanoseconds,u,v,w,sos,ts,diag\n1700002000,31250000,0.80,-0.00,1.234567,343,,7\n' +
    '1700002001,31250000,1.50,12.5,0.0,343.20,20.10,0\n');
  assert.equal(toCsv(window.columns(), 0, window.columns().time[1]),
    toCsv(window.columns(), 0, 1e10), 'through the last moment');
  assert.equal(toCsv(window.columns(), 1700002001, 1e10, 'ma,st"7"').split('\n')[1],
    'ma?st?7?,1700002001,31250000,1.50,12.5,0.0,343.20,20.10,0');
});

test('what is said of a port', () => {
  const now = 1e12;
  const online = {online: true, heardAt: now};
  const unreadable = new Unreadable();
  unreadable.add('{', now - 500, false);
  const silent = {connectedAt: now - 60e3, unreadable: new Unreadable()};
  const record = {time: (now - 3600e3) / 1000};
  const cases = [
    [{record, heardAt: now - 1900}, online, 'live', 'Receiving data'],
    [{record, heardAt: now - 14e3}, online, 'stopped', 'No data for 14 s'],
    [{record, heardAt: now + 3600e3}, online, 'stopped', 'No data for 0 s'],  // a clock put back
    [{record, heardAt: null}, online, 'stopped', 'No data: the last record is stamped 1 h 0 min ago'],
    [{record: null, heardAt: null}, online, 'waiting', 'Waiting for the first record'],
    [{record, heardAt: null, connectedAt: now - 1000}, online, 'waiting', 'Waiting for a record'],
    [{record, heardAt: now - 5000, unreadable}, online, 'unreadable',
      'Records arrive, but cannot be read'],
    [{record, heardAt: now - 5000}, {online: true, heardAt: now - 4900}, 'unknown',
      'Unknown: nothing is heard from the broker'],
    [{record, heardAt: now}, {online: false, heardAt: now}, 'unknown',
      'Unknown: no connection to the broker'],
  ];
  for (const [port, link, state, text] of cases) {
    const got = portState({...silent, ...port}, now, link);
    assert.deepEqual([got.state, got.text], [state, text]);
  }
  assert.equal(stampAge(now / 1000 + 185, now), '3 min 5 s ahead of this computer\'s clock');
});

test('a status that the records contradict is out of date', () => {
  const cases = [
    ['Connected', true, 'sampling'],
    ['Connected', false, 'sampling; out of date, because no records arrive'],
    ['Info trying 9600', false, 'listening and knocking at 9600 baud'],
    ['Configuring', true, 'the instrument is being set up, which takes about half a minute; ' +
      'out of date, because records arrive'],
    ['Connected ', true, 'a text that this page does not know'],
  ];
  for (const [text, live, meaning] of cases) assert.equal(statusMeaning(text, live), meaning);
});

test('ports in the order of their names, or the worst first', () => {
  const port = (device, number, state, silentFor, missed) =>
    ({device, number, state, silentFor, missed});
  const ports = [port('m10', '1', 'live', 1, 0), port('m2', '10', 'live', 1, 9), port('m2', '11', 'live', 1, 99),
    port('m2', '2', 'stopped', 60, 0), port('m2', '1', 'stopped', 900, 0), port('', '4', 'waiting')];
  const names = (worstFirst) =>
    inOrder(ports, worstFirst).map(({device, number}) => `${device}/${number}`).join(' ');
  assert.equal(names(false), '/4 m2/1 m2/2 m2/10 m2/11 m10/1');
  assert.equal(names(true), 'm2/1 m2/2 /4 m2/11 m2/10 m10/1');
  assert.ok(compareNames('mast-2', 'mast-10') < 0);
});
