// The half hours of one instrument: calendar, charts, wind rose and table.

import {formatAge, formatTime} from '../model/format.js';
import {DAY, HALF_HOUR} from '../model/half_hours.js';
import {roomTexts} from '../model/stations.js';
import {turned, turnedText} from '../model/wind.js';
import {Calendar} from './calendar.js';
import {append, copyOf, fieldsOf, setText} from './fields.js';
import {HistoryPanels} from './history_panels.js';
import {drawRose} from './rose.js';

const SHOWN_DAYS = 8;
const MAX_FRESH_MILLISECONDS = 3600e3;
const FLAGS = '● flag 0, good   ○ flag 1   × flag 2   ▪ no flag';

export class History {
  /** `feed` loads earlier months of an archive. */
  constructor(instrument, station, feed) {
    this.feed = feed;
    this.element = copyOf('history');
    this.fields = fieldsOf(this.element, 'history');
    this.calendar = new Calendar(this.element.querySelector('.calendar'), (i) => this.choose(i),
      (midnight) => this.show(midnight, midnight + DAY));
    this.panels = new HistoryPanels(this.element.querySelector('.panels'),
      `history ${station.name} ${instrument.serialNumber}`, (i) => this.choose(i));
    this.table = this.element.querySelector('table');
    this.details = this.element.querySelector('details');
    this.details.addEventListener('toggle', () => this.fillTable());
    this.element.querySelector('.tools').addEventListener('click', (event) => {
      if (event.target.dataset.action) this.act(event.target.dataset.action);
    });
    setText(this.fields.flags, FLAGS);
    this.update(instrument, station);
  }

  /** Takes newer half hours of the same instrument. What is shown stays, unless it was the end. */
  update(instrument, station) {
    const wasAtEnd = !this.range || this.range[1] >= this.halfHours.end;
    this.instrument = instrument;
    this.station = station;
    this.setHalfHours(instrument.halfHours);
    this.months = Object.keys(station.files).sort();  // that may still be asked for
    if (wasAtEnd) this.showLast(SHOWN_DAYS * DAY);
    else this.show(...this.range);
    if (!this.halfHours.length) this.loadLast();
  }

  /** Loads months until there are enough days to show. */
  async loadLast() {
    const isShort = () => this.halfHours.length < SHOWN_DAYS * DAY / HALF_HOUR;
    while (isShort() && await this.loadMonth());
    this.showLast(SHOWN_DAYS * DAY);
  }

  setHalfHours(halfHours) {
    this.halfHours = halfHours;
    this.calendar.show(halfHours);
    this.panels.setHalfHours(halfHours, this.instrument.angle ?? 0);
    const {serialNumber} = this.instrument;
    const {name, written} = this.station;
    this.element.hidden = !halfHours.length;
    setText(this.fields.title,
      `Half hours of instrument ${serialNumber}${name ? `, ${name}` : ''}`);
    const age = Date.now() - written;
    setText(this.fields.written, `Times in UTC. Written ${formatTime(written / 1000, 0)}` +
      (age > MAX_FRESH_MILLISECONDS ? `, ${formatAge(age)} ago: later half hours are missing here` : '') +
      `. Directions are from ${this.reference}.`);
    this.fields.written.classList.toggle('alarm', age > MAX_FRESH_MILLISECONDS);
    this.fields.room.replaceChildren();
    for (const {text, isWarning} of roomTexts(this.station.room)) {
      append(this.fields.room, 'p', {textContent: text, className: isWarning ? 'alarm' : ''});
    }
  }

  get reference() {
    const {angle} = this.instrument;
    return angle === null ? 'the instrument’s own north' :
      `north (the instrument’s own, turned by its mounting angle of ${angle}°)`;
  }

  /** A station of an archive has a file for each month: the last that is not there yet. */
  async loadMonth() {
    const month = this.months.pop();
    const station = month && await this.feed.month(this.station.files[month]);
    const {serialNumber} = this.instrument;
    const earlier = station?.instruments.find((other) => other.serialNumber === serialNumber);
    if (!earlier) return false;
    this.setHalfHours(this.halfHours.length ? this.halfHours.withEarlier(earlier.halfHours) :
      earlier.halfHours);
    return true;
  }

  async act(action) {
    const [from, to] = this.range;
    const actions = {
      day: () => this.showLast(DAY),
      week: () => this.showLast(SHOWN_DAYS * DAY),
      back: () => this.show(from - (to - from), from),
      on: () => this.show(to, to + (to - from)),
    };
    if (action === 'back' && from <= this.halfHours.starts[0]) await this.loadMonth();
    actions[action]();
  }

  showLast(length) {
    this.show(this.halfHours.end - length, this.halfHours.end);
  }

  /** Shows the half hours from one time to before another, if there are any. */
  show(from, to) {
    const {starts, end} = this.halfHours;
    if (!starts.length) return;
    const last = Math.min(Math.max(to, starts[0] + (to - from)), end);
    this.range = [Math.max(last - (to - from), starts[0]), last];
    const indexOf = (time) => Math.round((time - starts[0]) / HALF_HOUR);
    this.indices = this.range.map(indexOf);
    this.panels.show(this.range);
    const {angle} = this.instrument;
    const directions = this.halfHours.column('direction', ...this.indices)
      .map((degrees) => degrees === null ? null : turned(degrees, angle ?? 0));
    drawRose(this.element.querySelector('.rose'), directions,
      this.halfHours.column('speed_scalar', ...this.indices), this.reference);
    this.fillTable();
  }

  /** Marks a half hour and shows its numbers as they are in the table. */
  choose(i) {
    if (i === this.calendar.chosen) return;
    this.calendar.mark(i);
    this.panels.mark(i);
    setText(this.fields.readout, this.describe(i));
  }

  describe(i) {
    const start = this.halfHours.starts[i];
    const text = (name) => this.halfHours.text(i, name) || '–';
    const [from, to] = [start, start + HALF_HOUR].map((time) => formatTime(time, 0).slice(0, 16));
    const when = `${from} to ${to.slice(11)}`;
    if (this.halfHours.quality(i) === 'none') return `${when}: no records`;
    return `${when}: ${text('records')} of ${text('expected')} records (${text('percent')} %), ` +
      `speed ${text('speed_scalar')} m/s, gust ${text('gust')} m/s, ` +
      `from ${this.directionText(i) || '–'}°, ts ${text('ts')} °C, u* ${text('ustar')} m/s (flag ${text('flag_uw')}), ` +
      `w'T' ${text('wt')} m/s °C (flag ${text('flag_wt')})`;
  }

  directionText(i) {
    return turnedText(this.halfHours.text(i, 'direction'), this.instrument.angle ?? 0);
  }

  /** All columns as in the table of sonic-records, while somebody looks at it. */
  fillTable() {
    this.table.replaceChildren();
    if (!this.details.open) return;
    const {halfHours, instrument, station} = this;
    this.table.createCaption().textContent = `${station.name} instrument ` +
      `${instrument.serialNumber}, as sonic-records --half-hours prints it`;
    const names = halfHours.names;
    const turnedName = instrument.angle === null ? [] : ['direction from north'];
    const head = this.table.createTHead().insertRow();
    for (const name of [...names, ...turnedName]) {
      append(head, 'th', {textContent: name, scope: 'col'});
    }
    const body = this.table.createTBody();
    const [first, end] = this.indices;
    for (let i = first; i < end; i++) {
      if (halfHours.rows[i] === null) continue;
      const row = body.insertRow();
      for (const name of names) row.insertCell().textContent = halfHours.text(i, name);
      if (turnedName.length) row.insertCell().textContent = this.directionText(i);
    }
  }
}
