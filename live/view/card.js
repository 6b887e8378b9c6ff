// The card of one port: what is known of it now, and its charts.

import {formatAge, formatClock, formatCount, formatDegrees, formatTime, formatValue, MISSING}
  from '../model/format.js';
import {decimalsOf} from '../model/record.js';
import {stampAge} from '../model/state.js';
import {statusMeaning} from '../model/status.js';
import {direction, speed} from '../model/wind.js';
import {copyOf, fieldsOf, setText} from './fields.js';
import {History} from './history.js';
import {Strips} from './strips.js';

const MAX_LATE_SECONDS = 5;
const KEYS = {p: 'pause', ' ': 'pause', '+': 'in', '-': 'out', ArrowLeft: 'back',
  ArrowRight: 'on', 0: 'all', c: 'csv'};

export class Card {
  /** `port` is what the page knows of the port, see ports.js. */
  constructor(entry) {
    this.entry = entry;
    this.element = copyOf('card');
    this.fields = fieldsOf(this.element, 'field');
    this.element.setAttribute('aria-label', entry.port.name);
    const strips = this.element.querySelector('.strips');
    this.strips = new Strips(strips, entry.port, (paused) => this.showPaused(paused));
    this.histories = [];
    this.listen(strips);
  }

  listen(strips) {
    this.element.querySelector('.tools').addEventListener('click', (event) => {
      if (event.target.dataset.action) this.act(event.target.dataset.action);
    });
    strips.addEventListener('keydown', (event) => {
      const action = KEYS[event.key] || KEYS[event.key.toLowerCase()];  // with Shift or Caps Lock
      if (!action || event.ctrlKey || event.altKey || event.metaKey) return;
      event.preventDefault();
      this.act(action);
    });
  }

  act(action) {
    if (!this.entry.port.window.length) return;
    const strips = this.strips;
    const actions = {
      pause: () => strips.frozen ? strips.resume() : strips.pause(),
      in: () => strips.zoom(0.5),
      out: () => strips.zoom(2),
      back: () => strips.move(-0.5),
      on: () => strips.move(0.5),
      all: () => strips.showAll(),
      csv: () => this.save(strips.csv(this.entry.stationName), strips.visible[0]),
    };
    actions[action]();
  }

  save(text, from) {
    const {port, stationName, serialNumber} = this.entry;
    const parts = [stationName, 'port', port.number, serialNumber, Math.floor(from)];
    const link = document.createElement('a');
    link.download = `${parts.filter(String).join('_').replace(/[^\w-]+/g, '_')}.csv`;
    link.href = URL.createObjectURL(new Blob([text], {type: 'text/csv'}));
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 60000);
  }

  showPaused(paused) {
    const button = this.element.querySelector('[data-action=pause]');
    button.textContent = paused ? 'Resume' : 'Pause';
    button.classList.toggle('paused', paused);
  }

  set(field, text) {
    setText(this.fields[field], text);
  }

  setAlarm(field, text) {
    this.set(field, text);
    this.fields[field].hidden = !text;
  }

  /** Shows the half hours of the port's instruments. */
  showHistories() {
    const {instruments, station, feed, title} = this.entry;
    this.set('title', title);
    this.histories.forEach(({element}) => element.remove());
    const bySerialNumber = new Map(this.histories.map((one) => [one.instrument.serialNumber, one]));
    this.histories = instruments.map((instrument) => {
      const known = bySerialNumber.get(instrument.serialNumber);
      if (known) known.update(instrument, station);
      return known ?? new History(instrument, station, feed);
    });
    this.element.append(...this.histories.map(({element}) => element));
  }

  /** Shows what is known now. `steady` is the time by a clock that is never set. */
  update(now, steady) {
    const {port, warning, state} = this.entry;
    this.element.dataset.state = state.state;
    this.set('state', state.text);
    this.showStatus(now, state.state === 'live');
    const count = port.unreadable.count(now);
    const last = port.unreadable.lastAt;
    const messages = `${formatCount(count)} message${count === 1 ? '' : 's'}`;
    this.setAlarm('unreadable', !count ? '' :
      `${messages} of the last ten minutes could not be read` +
      `${last === null ? '' : `, the last at ${formatClock(last / 1000)}`}: ` +
      JSON.stringify(port.unreadable.text));
    this.setAlarm('warning', warning);
    this.showMeans();
    if (port.record) this.showRecord(port.record, now, steady);
  }

  showStatus(now, live) {
    const {status, statusAt} = this.entry.port;
    this.set('status', status ?? '');
    this.set('meaning', status === null ? 'No status was published' :
      `: ${statusMeaning(status, live)}`);
    this.set('statusAge', status === null ? '' :
      statusAt === null ? '(published before this page connected)' :
        `(published ${formatAge(now - statusAt)} ago)`);
  }

  showMeans() {
    const {minute, tenMinutes, angle} = this.entry;
    for (const [name, mean, length] of [['minute', minute, 60], ['ten', tenMinutes, 600]]) {
      this.set(`${name}Speed`, formatValue(mean?.speed, 1));
      this.set(`${name}Direction`, formatDegrees(mean?.direction));
      this.set(`${name}Gust`, formatValue(mean?.gust, 1));
      const isShort = mean && mean.seconds < length * 0.95;
      this.set(`${name}Span`, isShort ? `(of ${formatAge(mean.seconds * 1000)} so far)` : '');
    }
    const from = minute?.direction;
    const isKnown = Number.isFinite(from);
    this.fields.arrow.style.display = isKnown ? '' : 'none';
    if (isKnown) this.fields.arrow.setAttribute('transform', `rotate(${from.toFixed(1)})`);
    this.set('dial', isKnown ? `Mean wind of one minute from ${formatDegrees(from)}` :
      'No wind direction');
    this.set('reference', 'Directions say where the wind comes from, clockwise from ' +
      (angle === null ? 'the instrument’s own north (top of the dial). They are right for a ' +
        'compass only if it points north.' :
        'north (top of the dial): the instrument’s own, turned by its mounting angle of ' +
        `${angle}°.`));
  }

  showRecord(record, now, steady) {
    const {port, angle} = this.entry;
    for (const name of ['u', 'v', 'w', 'ts', 'sos']) {
      this.set(name, formatValue(record[name], decimalsOf(record.decimals, name)));
    }
    this.set('speed', formatValue(speed(record.u, record.v)));
    this.set('direction', formatDegrees(direction(record.u, record.v, angle ?? 0)));
    this.set('diag', formatValue(record.diag, 0));
    const faults = port.window.columns().diag.reduce((sum, diag) => sum + (diag > 0), 0);
    this.set('faults', faults ?
      `not 0 in ${formatCount(faults)} record${faults === 1 ? '' : 's'} of ten minutes` : '');
    this.fields.diagBox.classList.toggle('alarm', record.diag > 0 || faults > 0);

    const rate = (seconds) => port.rates.mean(steady, seconds)?.toFixed(1) ?? MISSING;
    this.set('rate', rate(5));
    this.set('minuteRate', rate(60));
    this.set('missed', formatCount(port.gaps.missed(record.time)));
    this.set('time', formatTime(record.time));
    const differs = Math.abs(now / 1000 - record.time) > MAX_LATE_SECONDS;
    this.set('clock', differs ? `stamped ${stampAge(record.time, now)}` : '');
  }
}
