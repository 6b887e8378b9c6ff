// The strip charts of one port: the last ten minutes or, after pause or zoom, a part of what there
// was at that moment.

import {formatTime, formatValue} from '../model/format.js';
import {decimalsOf} from '../model/record.js';
import {toCsv} from '../model/record_window.js';
import {colour, describePlot, makePlot, pointAt} from './plot.js';
import {listenToFingers} from './touch.js';

const STRIPS = [
  {name: 'u', label: 'u', unit: 'm/s', colour: '--u'},
  {name: 'v', label: 'v', unit: 'm/s', colour: '--v'},
  {name: 'w', label: 'w', unit: 'm/s', colour: '--w'},
  {name: 'ts', label: 'Sonic temperature', unit: '°C', colour: '--ts'},
  {name: 'sos', label: 'Speed of sound', unit: 'm/s', colour: '--sos', height: 70},
  {name: 'diag', label: 'Diagnostic word', unit: '', colour: '--bad', height: 50,
    scale: {range: (_, least, most) => [0, Math.max(1, most)]}},
];
const STRIP_HEIGHT = 110;
const MIN_SHOWN_SECONDS = 0.5;
const MIN_RANGE_SECONDS = 10;
const DRAWINGS_TO_A_DESCRIPTION = 10;

export class Strips {
  /** Draws into `element`, from `port`. `onPause(paused)` hears of each change. */
  constructor(element, port, onPause) {
    this.element = element;
    this.port = port;
    this.onPause = onPause;
    this.frozen = null;
    this.range = null;  // [from, to] in record time; null: all
    this.plots = [];
    this.drawings = 0;
    this.isInSight = false;
    new IntersectionObserver((entries) => { this.isInSight = entries.at(-1).isIntersecting; })
      .observe(element);
    new ResizeObserver(() => this.plots.forEach((plot) => plot.fit())).observe(element);
    listenToFingers(element, {
      onTap: (x, y) => this.plots.length && pointAt(this.plotAt(y), x, y),
      onMove: (pixels) => this.range && this.move(-pixels / this.element.clientWidth),
      onPinch: (factor) => this.zoom(factor),
    });
  }

  plotAt(y) {
    return this.plots.find((plot) => plot.root.getBoundingClientRect().bottom > y) ??
      this.plots.at(-1);
  }

  get data() {
    return this.frozen || {columns: this.port.window.columns(), gaps: this.port.gaps.list};
  }

  /** The stretch that is shown. */
  get visible() {
    const times = this.data.columns.time;
    return this.range || [times[0], times[times.length - 1]];
  }

  pause() {
    if (this.frozen) return;
    const {columns, gaps} = this.data;
    const copies = Object.entries(columns).map(([name, array]) => [name, array.slice()]);
    this.frozen = {columns: Object.fromEntries(copies), gaps: gaps.map((gap) => ({...gap}))};
    this.onPause(true);
    this.draw();  // the copies: what was drawn last is written over in time
  }

  resume() {
    this.frozen = this.range = null;
    this.onPause(false);
    this.draw();
  }

  showAll() {
    this.range = null;
    this.draw();
  }

  /** Shows a part, which does not move. */
  show(from, to) {
    const times = this.data.columns.time;
    if (times.length < 2) return;
    this.pause();
    const [first, last] = [times[0], times[times.length - 1]];
    const length = Math.min(Math.max(to - from, MIN_SHOWN_SECONDS), last - first);
    const start = Math.min(Math.max(from, first), last - length);
    this.range = [start, start + length];
    this.draw();
  }

  /** Zooms around the middle; a factor below 1 shows less. */
  zoom(factor) {
    const [from, to] = this.visible;
    const [middle, half] = [(from + to) / 2, (to - from) / 2 * factor];
    this.show(middle - half, middle + half);
  }

  /** Moves by a part of what is shown. */
  move(part) {
    const [from, to] = this.visible;
    this.show(from + part * (to - from), to + part * (to - from));
  }

  csv(station) {
    return toCsv(this.data.columns, ...this.visible, station);
  }

  /** While nothing is paused, called each time that new records should be seen. */
  draw() {
    const {columns} = this.data;
    if (!columns.time.length) return;
    if (!this.plots.length) this.plots = STRIPS.map((strip, i) => this.makePlot(strip, i));
    this.plots.forEach((plot, i) => plot.setData([columns.time, columns[STRIPS[i].name]]));
    if (this.frozen || this.drawings++ % DRAWINGS_TO_A_DESCRIPTION === 0) this.describe(columns);
  }

  describe(columns) {
    this.plots.forEach((plot, i) => {
      const {name, label, unit} = STRIPS[i];
      const values = columns[name].filter((value) => !Number.isNaN(value));
      const mean = values.reduce((sum, value) => sum + value, 0) / values.length;
      const least = values.reduce((a, b) => Math.min(a, b), Infinity);
      const most = values.reduce((a, b) => Math.max(a, b), -Infinity);
      describePlot(plot, values.length ? `Chart of ${label}: mean ${formatValue(mean)}, from ` +
        `${formatValue(least)} to ${formatValue(most)} ${unit}` : `Chart of ${label}: no values`);
    });
  }

  makePlot({name, label, unit, colour: variable, height, scale}, index) {
    return makePlot(this.element, {
      unit, scale,
      labels: [[label, variable]],
      height: height ?? STRIP_HEIGHT,
      isLast: index === STRIPS.length - 1,
      group: this.port.name,
      range: () => this.range || this.wholeRange(),
      series: [{stroke: () => colour(variable), width: 1.25, points: {show: false},
        gaps: (u, series, from, to) => this.gapsInPixels(u, u.data[series], from, to)}],
      valueText: (i) => this.valueText(name, i),
      onSelect: (from, to) => this.show(from, to),
      onReset: () => this.showAll(),
    });
  }

  wholeRange() {
    const [from, to] = this.visible;
    return [from, Math.max(to, from + MIN_RANGE_SECONDS)];
  }

  valueText(name, i) {
    const {columns} = this.data;
    if (i >= columns.time.length) return '';
    const stamp = columns.seconds[i] + columns.nanoseconds[i] / 1e9;
    const decimals = decimalsOf(columns.decimals[i], name);
    return `${formatValue(columns[name][i], decimals)} at ${formatTime(stamp).slice(11)}`;
  }

  /** No line is drawn over missing records and missing values. */
  gapsInPixels(plot, values, from, to) {
    const times = plot.data[0];
    const pixel = (time) => plot.valToPos(time, 'x', true);
    const gaps = this.data.gaps.map((gap) => [gap.from, gap.to])
      .filter(([start, end]) => end > times[from] && start < times[to]);
    for (let i = from; i <= to; i++) {
      if (Number.isNaN(values[i])) gaps.push([times[i - 1] ?? times[i], times[i + 1] ?? times[i]]);
    }
    return gaps.sort((a, b) => a[0] - b[0]).map(([start, end]) => [pixel(start), pixel(end)]);
  }
}
