// The charts of the half hours.

import {formatTime} from '../model/format.js';
import {HALF_HOUR} from '../model/half_hours.js';
import {turned, turnedText} from '../model/wind.js';
import {colour, describePlot, makePlot, pointAt} from './plot.js';
import {listenToFingers} from './touch.js';

const PANELS = [
  {names: ['speed_scalar', 'gust'], labels: [['Wind speed', '--u'], ['Gust', '--v']], unit: 'm/s'},
  {names: ['direction'], labels: [['Wind from', '--w']], unit: '°', isDirection: true},
  {names: ['ts'], labels: [['Sonic temperature', '--ts']], unit: '°C'},
  {names: ['ustar'], labels: [['u*', '--u']], unit: 'm/s', flag: 'flag_uw'},
  {names: ['wt'], labels: [['w\'T\'', '--v']], unit: 'm/s °C', flag: 'flag_wt'},
];
const PANEL_HEIGHT = 100;
const QUARTERS = [0, 90, 180, 270, 360];
const MARK_RADIUS = 3;

export class HistoryPanels {
  /**
   * Into `element`; cursors of charts of one `group` move together. `onChoose(i)` hears of the half
   * hour under the cursor.
   */
  constructor(element, group, onChoose) {
    this.element = element;
    this.group = group;
    this.onChoose = onChoose;
    this.range = null;
    this.plots = [];
    new ResizeObserver(() => this.plots.forEach((plot) => plot.fit())).observe(element);
    listenToFingers(element, {
      onTap: (x, y) => this.plots.length && pointAt(this.plots[0], x, y),
      onMove: () => {},
      onPinch: () => {},
    });
  }

  /** `angle` is the mounting angle, by which directions are turned. */
  setHalfHours(halfHours, angle) {
    this.halfHours = halfHours;
    this.angle = angle;
    const times = halfHours.starts.map((start) => start + HALF_HOUR / 2);
    this.data = PANELS.map(({names, isDirection}) => [times, ...names.map((name) =>
      halfHours.column(name).map((value) =>
        isDirection && value !== null ? turned(value, angle) : value))]);
  }

  /** Shows the half hours from one time to another. */
  show(range) {
    this.range = range;
    // A chart that is made while nobody sees it does not know its width.
    if (!this.plots.length) this.plots = PANELS.map((panel, i) => this.makePanel(panel, i));
    this.plots.forEach((plot, i) => {
      plot.setData(this.data[i]);
      this.describe(plot, i);
    });
  }

  describe(plot, i) {
    const {labels: [[label]], unit} = PANELS[i];
    const [from, to] = this.range;
    const shown = this.data[i][1].filter((value, k) =>
      value !== null && this.halfHours.starts[k] >= from && this.halfHours.starts[k] < to);
    describePlot(plot, !shown.length ? `Chart of ${label}: no values` :
      `Chart of ${label}: from ${Math.min(...shown)} to ${Math.max(...shown)} ${unit}, ` +
      `${formatTime(from, 0)} to ${formatTime(to, 0)}; the table below has all numbers`);
  }

  /** Puts the cursors on a half hour. */
  mark(i) {
    const time = this.halfHours.starts[i] + HALF_HOUR / 2;
    const isIn = this.range && time > this.range[0] && time < this.range[1];
    for (const plot of this.plots) {
      if (plot.cursor.idx === i) continue;
      plot.setCursor({left: isIn ? plot.valToPos(time, 'x') : -10, top: 10});
    }
  }

  makePanel({names, labels, unit, flag, isDirection}, index) {
    const series = names.map((name, k) => ({
      stroke: () => colour(labels[k][1]),
      width: k === 0 ? 1.5 : 1,
      paths: isDirection || flag ? () => null : undefined,
      points: {show: !flag, size: isDirection ? 4 : 3, fill: () => colour(labels[k][1])},
    }));
    return makePlot(this.element, {
      labels, unit, series,
      height: PANEL_HEIGHT,
      isLast: index === PANELS.length - 1,
      group: this.group,
      range: () => this.range,
      valueText: (i) => names.map((name) => this.halfHours.text(i, name))
        .map((text) => (isDirection ? turnedText(text, this.angle) : text) || '–').join(', '),
      onCursor: (i) => { if (i !== null) this.onChoose(i); },
      scale: isDirection ? {range: [0, 360]} : {},
      axis: isDirection ? {splits: () => QUARTERS} : {},
      hooks: flag ? {draw: [(plot) => this.drawFlags(plot, flag, labels[0][1])]} : {},
    });
  }

  /** A disk for the flag 0, a ring for 1, a cross for 2, a square without a flag. */
  drawFlags(plot, flag, variable) {
    const {ctx} = plot;
    const radius = MARK_RADIUS * devicePixelRatio;
    ctx.save();
    ctx.strokeStyle = ctx.fillStyle = colour(variable);
    ctx.lineWidth = 1.5 * devicePixelRatio;
    const [times, values] = plot.data;
    values.forEach((value, i) => {
      if (value === null || times[i] < this.range[0] || times[i] > this.range[1]) return;
      drawMark(ctx, this.halfHours.text(i, flag), plot.valToPos(times[i], 'x', true),
        plot.valToPos(value, 'y', true), radius);
    });
    ctx.restore();
  }
}

function drawMark(ctx, flag, x, y, radius) {
  ctx.beginPath();
  if (flag === '2') {
    for (const [dx, dy] of [[radius, radius], [radius, -radius]]) {
      ctx.moveTo(x - dx, y - dy);
      ctx.lineTo(x + dx, y + dy);
    }
  } else if (flag === '0' || flag === '1') {
    ctx.arc(x, y, radius, 0, 2 * Math.PI);
  } else {
    ctx.rect(x - radius / 2, y - radius / 2, radius, radius);
  }
  if (flag === '1' || flag === '2') ctx.stroke();
  else ctx.fill();
}
