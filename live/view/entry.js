// One port: its line in the table, its card if it is unfolded, and what the written file says of
// it.

import {formatCount, formatDegrees, formatValue, MISSING} from '../model/format.js';
import {DAY} from '../model/half_hours.js';
import {portState} from '../model/state.js';
import {instrumentsOf, roomTexts, stationOf} from '../model/stations.js';
import {means} from '../model/wind.js';
import {Card} from './card.js';
import {copyOf, fieldsOf, setText} from './fields.js';

const MINUTE_SECONDS = 60;
const TEN_MINUTES_SECONDS = 600;
const SHORT_STATES = {live: 'Receiving data', unreadable: 'Cannot be read', stopped: 'No data',
  waiting: 'Waiting', unknown: 'Unknown'};

export class Entry {
  /** `feed` is that of the written file; `onFold()` hears when the user folds or unfolds. */
  constructor(port, feed, onFold) {
    this.port = port;
    this.feed = feed;
    this.station = null;
    this.instruments = [];
    this.minute = this.tenMinutes = null;
    this.day = null;  // {midnight, percent} of the day's records in the file
    this.state = null;
    this.element = copyOf('port');
    this.element.dataset.key = this.key;
    this.fields = fieldsOf(this.element, 'line');
    this.button = this.element.querySelector('button');
    this.button.addEventListener('click', () => {
      this.setUnfolded(!this.isUnfolded);
      onFold();
    });
    new IntersectionObserver((entries) => { this.isInSight = entries.at(-1).isIntersecting; })
      .observe(this.element);
  }

  get key() {
    return `${this.port.device}/${this.port.number}`;
  }

  get stationName() {
    return this.station?.name || this.port.device;
  }

  get serialNumber() {
    return this.instruments[0]?.serialNumber ?? '';
  }

  /** The mounting angle, or null if it is not known. */
  get angle() {
    return this.instruments[0]?.angle ?? null;
  }

  /** "Port 1", or "mast-07 port 1" at a central broker. */
  get place() {
    const {name, device} = this.port;
    return device ? name : name[0].toUpperCase() + name.slice(1);
  }

  get title() {
    return this.serialNumber ? `${this.place}, instrument ${this.serialNumber}` : this.place;
  }

  /** What sonicd-room warns of, or an empty text. */
  get warning() {
    return roomTexts(this.station?.room ?? []).filter(({isWarning}) => isWarning)
      .map(({text}) => text).join('. ');
  }

  get isUnfolded() {
    return this.button.getAttribute('aria-expanded') === 'true';
  }

  setUnfolded(unfolded) {
    this.button.setAttribute('aria-expanded', String(unfolded));
    if (!this.card && unfolded) this.makeCard();
    if (this.card) this.element.rows[1].hidden = !unfolded;
  }

  makeCard() {
    this.card = new Card(this);
    const cell = this.element.insertRow().insertCell();
    cell.colSpan = this.element.rows[0].cells.length;
    cell.append(this.card.element);
    this.card.showHistories();
  }

  /** Takes what the written file says of this port. */
  setStations(stations) {
    this.station = stationOf(stations, this.port.device);
    this.instruments = instrumentsOf(this.station, this.port.number);
    this.day = null;
    if (this.card) this.card.showHistories();
  }

  computeState(now, link) {
    this.state = portState(this.port, now, link);
    const {state} = this.state;
    if (state === 'stopped' || state === 'unreadable') this.port.dataStopped();
  }

  computeMeans() {
    const {port} = this;
    const columns = port.window.columns();
    const mean = (seconds) => port.window.length ?
      means(columns, seconds, port.rate, this.angle ?? 0) : null;
    this.minute = mean(MINUTE_SECONDS);
    this.tenMinutes = mean(TEN_MINUTES_SECONDS);
  }

  /** Percent of the day's records in the file, or null. */
  today(now) {
    const midnight = Math.floor(now / 1000 / DAY) * DAY;
    if (midnight !== this.day?.midnight) {
      const percent = this.instruments[0]?.halfHours.percentOfDay(midnight) ?? null;
      this.day = {midnight, percent};
    }
    return this.day.percent;
  }

  get missed() {
    return this.port.record ? this.port.gaps.missed(this.port.record.time) : 0;
  }

  showLine(now) {
    const set = (name, text) => setText(this.fields[name], text);
    const wind = (mean) => mean === null ? MISSING :
      `${formatValue(mean.speed, 1)} m/s, ${formatDegrees(mean.direction)}`;
    const today = this.today(now);
    this.element.dataset.state = this.state.state;
    set('name', this.place);
    set('serialNumber', this.serialNumber);
    set('state', SHORT_STATES[this.state.state]);
    set('age', this.state.age || MISSING);
    set('minute', wind(this.minute));
    set('tenMinutes', wind(this.tenMinutes));
    set('today', today === null ? MISSING : `${today.toFixed(1)} %`);
    // Of a silent port more is missing than the gaps between its records.
    set('missed', this.state.state === 'live' ? formatCount(this.missed) : MISSING);
  }
}
