'use strict';
// What is known of one port, from the messages that came and from when they came.

const STALE_MILLISECONDS = 2000;

/// What is to come is not recent either: this computer's clock was set back.
function isRecent(then, now) {
  return Math.abs(now - then) <= STALE_MILLISECONDS;
}

class Port {
  /// `device` is empty at a device's own broker. `onEvent(text)` hears of what is worth a line in
  /// the list. `now` is the time at which the page's connection to the broker began.
  constructor(device, number, onEvent, now) {
    this.device = device;
    this.number = number;
    this.onEvent = onEvent;
    this.window = new RecordWindow();
    this.gaps = this.newGaps();
    this.rates = new Rates();
    this.kept = {};          // by topic, the time of the record that the broker had kept
    this.record = null;      // the latest that is known
    this.heardAt = null;     // when it came; null if it is older than the connection
    this.heardLast = null;   // the latest that came while this page listened
    this.status = null;
    this.statusAt = null;    // as heardAt
    this.unreadable = 0;
    this.unreadableText = '';
    this.connected(now);
  }

  get name() {
    return `${this.device} port ${this.number}`.trim();
  }

  connected(now) {
    this.connectedAt = now;
    this.deaf = true;  // from the last record to the next
    this.statusAt = null;
  }

  /// `kept` is true for a message that the broker had kept from before the connection.
  handle(subtopic, text, kept, now) {
    if (subtopic === 'status') return this.handleStatus(text, kept, now);
    const record = subtopic === '' || subtopic === 'fast' ? parseRecord(text) : null;
    if (record === null) {
      this.unreadable++;
      this.unreadableText = text;
    } else if (kept) {
      this.kept[subtopic] = record.time;
      if (this.record === null || record.time > this.record.time) {
        this.record = record;
        this.heardAt = null;
      }
    } else if (record.time !== this.kept[subtopic]) {  // a bridge may send that once more
      this.handleRecord(record, now);
    }
  }

  handleStatus(text, kept, now) {
    const changed = text !== this.status;
    this.status = text;
    this.statusAt = kept ? null : now;
    if (changed) this.onEvent(kept ? `${text} (the status when this page connected)` : text);
  }

  /// The first record of a second comes on two topics, and a bridge may repeat what it sent: a
  /// record that is there already is no new one.
  handleRecord(record, now) {
    const last = this.heardLast;
    if (last && record.time <= last.time) {
      if (this.window.has(record.time)) return;
      this.onEvent(`Record time went back by ${formatSpan(last.time - record.time)}`);
      this.window.clear();
      this.gaps = this.newGaps();
    } else if (last) {
      this.gaps.add(last.time, record.time, this.deaf);
    }
    this.deaf = false;
    this.window.add(record);
    this.rates.add(now);
    this.record = this.heardLast = record;
    this.heardAt = now;
  }

  newGaps() {
    return new Gaps((gap) => this.onEvent(this.describe(gap)));
  }

  describe({from, to, missed}) {
    const count =
      missed ? `${missed} record${missed === 1 ? '' : 's'} missed` :
      this.deaf ? 'this page did not listen' : 'records missed';
    return `Gap of ${formatSpan(to - from)} after ${formatTime(from)}: ${count}`;
  }

  /// Whether data come, decided by nothing but records.
  live(now) {
    return this.heardAt !== null && isRecent(this.heardAt, now);
  }
}
