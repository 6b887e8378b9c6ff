// What becomes of messages: records in the window, gaps and events in the lists.

import assert from 'node:assert/strict';
import test from 'node:test';
import {Gaps} from '../../live/model/gaps.js';
import {Port} from '../../live/model/port.js';
import {Rates} from '../../live/model/rates.js';
import {Unreadable} from '../../live/model/unreadable.js';

const START = 1700002000;
const WALL = START * 1000;

/** A record with this stamp. No two records that the instrument sent have the same values. */
function message(time, u = 1) {
  const seconds = Math.floor(time);
  return JSON.stringify({SECONDS: seconds, NANOSECONDS: Math.round((time - seconds) * 1e9), u, v: 1,
    w: 0, sos: 340, ts: 20, diag: '0'});
}

/** A port that got these: [stamp, arrival] of each record in seconds after START. */
function portAfter(messages) {
  const events = [];
  const port = new Port('', '1', (kind, text) => events.push(text.replace('2023-11-14 ', '')), WALL);
  for (const [time, arrival] of messages) handle(port, 'fast', message(START + time, arrival), arrival);
  return {port, events, times: port.window.columns().time.map((time) => time - START)};
}

/** Gives a port a message that arrives this many seconds after START. */
function handle(port, topic, text, arrival, retained = false) {
  port.handle(topic, text, retained, WALL + arrival * 1000, WALL + arrival * 1000);
}

/** Stamps at 32 a second from one time to another, that arrive `delay` later. */
function steady(from, to, delay = 0.05) {
  const times = [];
  for (let k = Math.round(from * 32); k < to * 32; k++) times.push([k / 32, k / 32 + delay]);
  return times;
}

test('what arrives, is missing or late, and how the clock is set', () => {
  const held = steady(2, 3).map(([time], k) => [time, 3 + k / 1e4]);
  const cases = [
    ['all there', steady(0, 20), 640, 0, []],
    ['16 records missing', [...steady(0, 2), ...steady(2.5, 4)], 112, 16,
      ['Gap of 0.531 s after 22:46:41.969: 16 records missed']],
    ['one record missing', [...steady(0, 2), ...steady(2, 4).slice(1)], 127, 1,
      ['Gap of 0.063 s after 22:46:41.969: 1 record missed']],
    ['20 min missing', [...steady(0, 2), ...steady(1202, 1203)], 32, 19169,
      ['Gap of 20 min 0 s after 22:46:41.969: 38400 records missed']],
    ['one half a second late', reordered(steady(0, 3), 50, 66), 96, 0,
      ['Gap of 0.063 s after 22:46:41.531: 1 record missed']],
    ['a second held up on the way', [...steady(0, 2), ...held, ...steady(3, 5)], 160, 0, []],
    ['two in swapped order', reordered(steady(0, 3), 50, 51), 96, 0, []],
    ['three the wrong way round', reordered(reordered(steady(0, 3), 50, 52), 50, 51), 96, 0, []],
    ['one stamped 20 ms late', steady(0, 3).map(([time, at], k) => [time + (k === 50) / 50, at]), 96,
      0, []],
    ['a hold-up in the stamps, made up for slowly', steady(0, 4).map(([time], k) => {
      const stamp = k < 64 ? time : Math.max(time, 2.2 + (k - 64) * 0.02);
      return [stamp, stamp + 0.05];
    }), 128, 0, []],
    ['the clock set forward by 3 h', [...steady(0, 2), ...later(steady(2, 4), 10800)], 128, 0,
      ['The logger\'s clock was set forward by 3 h 0 min']],
    ['the same after 16 records missing',
      [...steady(0, 2), ...steady(2.5, 4), ...later(steady(4, 5), 10800)], 144, 16,
      ['Gap of 0.531 s after 22:46:41.969: 16 records missed',
        'The logger\'s clock was set forward by 3 h 0 min']],
    ['the clock set back by 3 h', [...steady(0, 2), ...later(steady(2, 4), -10800)], 128, 0,
      ['The logger\'s clock was set back by 3 h 0 min']],
    ['the clock set back by a whole second', [...steady(0, 2), ...later(steady(2, 4), -1)], 128, 0,
      ['The logger\'s clock was set back by 1 s']],
    ['the clock set forward in a pause of 5 s', [...steady(0, 2), ...later(steady(7, 9), 600)], 128,
      160, ['The logger\'s clock was set forward by 10 min 0 s',
        'Gap of 5.031 s after 22:56:41.969: 160 records missed']],
    ['one record from the year 2106', [...steady(0, 2), [2.5e9, 2.04], ...steady(2, 4)], 129, 0,
      ['The logger\'s clock was set forward by 79 y 100 d',
        'The logger\'s clock was set back by 79 y 100 d']],
    ['an hour late, from a queue that lost a minute',
      [...steady(0, 30), ...steady(90, 120)].map(([time], k) => [time, 3600 + k / 1e3]),
      1920, 1920, ['Gap of 1 min 0 s after 22:47:09.969: 1920 records missed']],
  ];
  for (const [name, messages, length, missed, events] of cases) {
    const got = portAfter(messages);
    const gotMissed = got.port.gaps.missed(got.port.last.time);
    assert.deepEqual([got.times.length, gotMissed, got.events], [length, missed, events], name);
    assert.ok(got.times.every((time, i) => i === 0 || time > got.times[i - 1]), name);
  }
});

/** The record at one index arrives at another, and those in between before it. */
function reordered(messages, from, to) {
  const times = messages.map(([time]) => time);
  times.splice(to, 0, ...times.splice(from, 1));
  return messages.map(([, arrival], k) => [times[k], arrival]);
}

function later(messages, seconds) {
  return messages.map(([time, arrival]) => [time + seconds, arrival]);
}

test('a record that arrives on two topics, or once more, is one', () => {
  const {port} = portAfter(steady(0, 1));
  for (const [time, arrival] of [31, 15, 0].map((k) => steady(0, 1)[k])) {
    handle(port, '', message(START + time, arrival), 1);
  }
  assert.equal(port.window.length, 32);
});

test('a gap is found when five intervals have not made up for it', () => {
  const found = [];
  const gaps = new Gaps((gap) => found.push(gap.missed));
  const times = [0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 13, 14, 15, 16].map((tenths) => tenths / 10);
  times.slice(1).forEach((time, i) => gaps.add(times[i], time, false));
  assert.deepEqual(found, []);
  gaps.add(1.6, 1.7, false);
  assert.deepEqual(found, [2]);
});

test('the window keeps ten minutes', () => {
  const {times} = portAfter(steady(0, 700));
  assert.deepEqual([times.length, times[0]], [600 * 32 + 1, 700 - 1 / 32 - 600]);
});

test('an uneven network is neither a gap nor a step of the clock', () => {
  for (const rate of [1, 4, 32]) {
    let [random, latest] = [1, 0];
    const messages = Array.from({length: 120 * rate}, (_, k) => {
      random = random * 16807 % 2147483647;
      const delay = 0.02 + (random % 50 === 0 ? random % 3000 / 1000 : random % 40 / 1000);
      latest = Math.max(latest, k / rate + delay);  // nothing overtakes
      return [k / rate, latest];
    });
    assert.deepEqual(portAfter(messages).events, [], `${rate} Hz`);
  }
});

test('a clock that drifts is not taken for one that is set', () => {
  const drift = (time) => time * 1.0005;
  const messages = Array.from({length: 4800}, (_, k) => [k / 4, drift(k / 4)]);
  assert.deepEqual(portAfter(messages).events, []);
  const {events} = portAfter([...messages, [1200.7, drift(1200)], [1200.95, drift(1200.25)]]);
  assert.deepEqual(events, ['The logger\'s clock was set forward by 0.7 s']);
});

test('what the page did not hear is not missed', () => {
  const {port, events} = portAfter(steady(0, 2));
  port.connected(WALL + 60e3);
  handle(port, 'fast', message(START + 7200), 60);  // this computer slept
  assert.equal(port.gaps.missed(START + 7200), 0);
  assert.deepEqual(events, ['Gap of 1 h 59 min after 22:46:41.969: this page did not listen']);
});

test('records a second, by their arrival', () => {
  const rates = new Rates();
  assert.equal(rates.mean(5000, 5), null);
  for (let k = 0; k < 160; k++) rates.add(10000 + k * 1000 / 32);
  const cases = [[15500, 5, 32], [18500, 5, 32 * 2 / 5], [25000, 5, 0], [25000, 60, 32 * 4 / 14],
    [90000, 60, null]];
  for (const [now, seconds, mean] of cases) {
    assert.equal(rates.mean(now, seconds), mean, `${now}`);
  }
});

test('messages that are not records are counted for ten minutes', () => {
  const good = message(START);
  const cases = ['null', '7', '[]', '{', good.replace('1700002000', '8639999999999'),
    good.replace('1700002000', '"1"'), good.replace('1700002000', '-1'), good.replace('"v":1', '"v":')];
  const {port} = portAfter([[0, 0]]);
  cases.forEach((text, i) => handle(port, 'fast', text, i === 0 ? -60 : 0));
  handle(port, 'fast', '', 0);  // clears a retained one
  assert.equal(port.unreadable.count(WALL + 8 * 60e3), cases.length);
  assert.equal(port.unreadable.count(WALL + 11 * 60e3), 0);
  assert.equal(port.window.length, 1);

  const unreadable = new Unreadable();
  unreadable.add('x', 5 * 60e3, true);
  assert.equal(unreadable.lastAt, null, 'no sign of life, as it is retained');
  assert.deepEqual([unreadable.count(15 * 60e3 - 1), unreadable.count(15 * 60e3)], [1, 0]);
  unreadable.add('y', 6 * 60e3, false);
  assert.equal(unreadable.lastAt, 6 * 60e3);
});

test('a status: retained, the same again, new, long and cleared', () => {
  const {port, events} = portAfter([]);
  handle(port, 'status', 'Connected', 0, true);
  assert.deepEqual([port.status, port.statusAt], ['Connected', null]);
  handle(port, 'status', 'Connected', 1);
  assert.equal(port.statusAt, WALL + 1000);
  handle(port, 'status', 'x'.repeat(60000), 2);
  assert.ok(port.status.length < 250);
  handle(port, 'status', '', 3);
  assert.equal(port.status, null);
  assert.deepEqual(events.map((text) => text.slice(0, 20)),
    ['Connected (the statu', 'xxxxxxxxxxxxxxxxxxxx']);
});

test('a retained record is old news, and no sign of life when a bridge sends it again', () => {
  const {port} = portAfter([]);
  handle(port, 'fast', message(START - 7200), 0, true);
  handle(port, 'fast', message(START - 7200), 1);
  assert.deepEqual([port.record.time, port.heardAt], [START - 7200, null]);
});

test('a port is as it was after the page is loaded again', () => {
  const minusZero = message(START + 9003).replace('"w":0', '"w":-0.00');
  const {port} = portAfter([...steady(0, 1), ...later(steady(1, 2), 1),
    ...later(steady(2, 3), 9e3)]);
  handle(port, 'fast', minusZero, 3.1);
  handle(port, 'fast', message(START + 9003.5).replace('"ts":20', '"ts":null'), 3.5);
  assert.equal(port.window.length, 98);
  const again = new Port('', '1', () => {}, WALL);
  again.restore(JSON.parse(JSON.stringify(port.save())));
  assert.deepEqual(again.window.columns(), port.window.columns());
  assert.deepEqual([again.record, again.last, again.gaps.list],
    [port.record, port.last, port.gaps.list]);
});
