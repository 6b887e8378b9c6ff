// What is known of one port, from its messages and from when they arrived.

import {formatAge, formatSpan, formatTime, shorten} from './format.js';
import {Gaps} from './gaps.js';
import {Pace} from './pace.js';
import {Rates} from './rates.js';
import {parseRecord} from './record.js';
import {RecordWindow} from './record_window.js';
import {decodeColumns, encodeColumns} from './snapshot.js';
import {Unreadable} from './unreadable.js';

const LATE_RECORDS = 3;  // this many in a row: the clock was set back
const MIN_PAUSE_SECONDS = 1;  // when a clock is set, anything less looks like jitter
const MAX_STATUS_CHARACTERS = 200;

export class Port {
  /**
   * `device` is the logger's name at a central broker, and empty at the logger's own.
   * `onEvent(kind, text)` hears of what is worth a row in the lists: kind is 'state' or 'gap'.
   * `now` is the time at which the page's connection to the broker began.
   */
  constructor(device, number, onEvent, now) {
    this.device = device;
    this.number = number;
    this.onEvent = onEvent;
    this.window = new RecordWindow();
    this.gaps = new Gaps((gap) => this.onEvent('gap', this.describe(gap)));
    this.pace = new Pace();
    this.rates = new Rates();
    this.unreadable = new Unreadable();
    this.retained = {};      // by topic, the time of the record that the broker had retained
    this.late = [];        // the latest records, if they are older than the one before them
    this.record = null;      // the latest that is known
    this.heardAt = null;     // when it arrived; null if it is older than the connection
    this.last = null;        // {time, arrival} of the latest that arrived while this page listened
    this.status = null;
    this.statusAt = null;    // as heardAt
    this.stoppedAt = null;   // of the last record, once the list says that data stopped
    this.connected(now);
  }

  /** "port 1" or "mast-07 port 1"; of an instrument without a port the logger's name alone. */
  get name() {
    const parts = [this.device, this.number && `port ${this.number}`].filter(Boolean);
    return parts.join(' ') || 'instrument';
  }

  connected(now) {
    this.connectedAt = now;
    this.deaf = true;  // from the last record to the next
    this.late = [];
    this.pace.reset();
  }

  /**
   * Takes a message. `retained` is true for one that the broker had from before the connection.
   * `now` is this computer's time, `arrival` that of a clock which is never set; milliseconds.
   */
  handle(subtopic, text, retained, now, arrival) {
    if (subtopic === 'status') return this.handleStatus(text, retained, now);
    if (text === '') return;  // a retained record was cleared
    const record = parseRecord(text);
    if (record === null) {
      this.unreadable.add(text, now, retained);
    } else if (retained) {
      this.retained[subtopic] = record.time;
      if (this.record === null || record.time > this.record.time) {
        this.record = record;
        this.heardAt = null;
      }
    } else if (record.time !== this.retained[subtopic]) {  // a bridge may send that once more
      this.handleRecord(record, now, arrival / 1000);
    }
  }

  handleStatus(text, retained, now) {
    const status = shorten(text, MAX_STATUS_CHARACTERS) || null;  // an empty one clears it
    const changed = status !== this.status;
    this.status = status;
    if (changed || !retained) this.statusAt = retained ? null : now;
    if (changed && status !== null) {
      this.onEvent('state', retained ? `${status} (the status when this page connected)` : status);
    }
  }

  /**
   * The first record of a second arrives on two topics, and a bridge may repeat what it sent: a
   * record that is there already is not a new one.
   */
  handleRecord(record, now, arrival) {
    if (this.window.has(record)) return;
    if (this.stoppedAt !== null) {
      this.onEvent('state', `Data are back after ${formatAge(now - this.stoppedAt)}`);
      this.stoppedAt = null;
    }
    this.heardAt = now;
    this.rates.add(arrival * 1000);
    this.place(record, arrival);
  }

  place(record, arrival) {
    const isLate = this.last && record.time <= this.last.time;
    const inOrder = !this.late.length || record.time > this.late.at(-1).record.time;
    if (!isLate || !inOrder) this.takeLate();
    if (!isLate) return this.append(record, arrival);
    this.late.push({record, arrival});
    if (this.late.length === LATE_RECORDS) this.stepBack();
  }

  /** One or two records that arrived after later ones: their order was changed on the way. */
  takeLate() {
    for (const {record} of this.late) {
      this.window.add(record);
      this.gaps.fill(record.time);
    }
    this.late = [];
  }

  stepBack() {
    const {late, last} = this;
    this.late = [];
    const [{record, arrival}] = late;
    this.setClock(record.time - last.time - this.pauseBefore(arrival));
    for (const one of late) this.append(one.record, one.arrival);
  }

  append(record, arrival) {
    const {last} = this;
    if (last) {
      const interval = record.time - last.time;
      if (this.gaps.isLong(interval) && this.pace.isAhead(record.time, arrival)) {
        this.setClock(interval - this.pauseBefore(arrival));
      }
      this.gaps.add(last.time, record.time, this.deaf);
    }
    this.deaf = false;
    this.window.add(record);
    this.pace.add(record.time, arrival);
    this.record = record;
    this.last = {time: record.time, arrival};
  }

  /** Seconds between the last record and one that arrived later. */
  pauseBefore(arrival) {
    const pause = arrival - this.last.arrival;
    return pause > MIN_PAUSE_SECONDS ? pause : this.gaps.usualInterval() || pause;
  }

  /** The logger's clock was set: all that is known moves along, so that no record is lost. */
  setClock(seconds) {
    const to = seconds > 0 ? 'forward' : 'back';
    this.onEvent('gap', `The logger's clock was set ${to} by ${formatSpan(Math.abs(seconds))}`);
    this.window.shift(seconds);
    this.gaps.shift(seconds);
    this.last.time += seconds;
    this.pace.reset();
  }

  describe({from, to, missed}) {
    const count =
      missed ? `${missed} record${missed === 1 ? '' : 's'} missed` :
      this.deaf ? 'this page did not listen' : 'records missed';
    return `Gap of ${formatSpan(to - from)} after ${formatTime(from)}: ${count}`;
  }

  /** To be called when data no longer arrive, though the broker answers. */
  dataStopped() {
    if (this.stoppedAt !== null || this.heardAt === null) return;
    this.stoppedAt = this.heardAt;
    this.onEvent('state', 'Data stopped');
  }

  /** What is to survive while the page is loaded again, for JSON. */
  save() {
    const {gaps, last, status, statusAt, heardAt, stoppedAt} = this;
    return {columns: encodeColumns(this.window.columns()), gaps: gaps.list, last, status, statusAt,
      heardAt, stoppedAt};
  }

  restore({columns, gaps, ...rest}) {
    this.window.restore(decodeColumns(columns));
    this.gaps.list = gaps;
    Object.assign(this, rest);
    this.record = this.window.latest();
  }

  /** Records a second, by their stamps; 0 while it is not known. */
  get rate() {
    const usual = this.gaps.usualInterval();
    return usual ? 1 / usual : 0;
  }
}
