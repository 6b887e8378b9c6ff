// One chart over time, with a title that shows the value under the cursor. All look alike.

import uPlot from 'uplot';
import {TICKS, timeLabels} from '../model/axis.js';
import {append, setText} from './fields.js';

const TIME_AXIS_HEIGHT = 26;
const LAST_LABEL_WIDTH = 34;  // half of it is to the right of its tick
const MIN_WIDTH_PIXELS = 200;
const PRINTED_WIDTH = 640;

const plots = new Set();

/** A colour of live.css; canvases do not follow it by themselves. */
export function colour(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

/**
 * Makes a chart in `parent`. Options: `labels`: [text, colour of live.css] of each line; `unit`;
 * `height` of the plot in pixels; `isLast`: it has the time axis; `group`: charts whose cursors
 * move together; `range()`: [from, to] of the time; `series` as uPlot takes it, without the time;
 * `valueText(i)`: what the title says of index i; `onCursor(i or null)`; `onSelect(from, to)` after
 * a drag, `onReset()` after a double click; `axis`, `scale`, `hooks`: additions.
 */
export function makePlot(parent, options) {
  const {labels, unit, height, isLast, group, range, series, valueText} = options;
  const {onCursor, onSelect, onReset} = options;
  const strip = append(parent, 'div', {className: 'strip'});
  const title = append(strip, 'p', {className: 'strip-title'});
  for (const [text, variable] of labels) {
    append(title, 'b', {textContent: text}).style.color = `var(${variable})`;
  }
  append(title, 'span', {textContent: unit ? ` ${unit}` : ''});
  const value = append(title, 'span', {className: 'value'});
  const line = {stroke: () => colour('--line'), width: 1};
  const axis = {stroke: () => colour('--ink'), font: '13px system-ui, sans-serif', grid: line,
    ticks: line};
  const size = (width) => ({width: Math.max(MIN_WIDTH_PIXELS, width),
    height: height + (isLast ? TIME_AXIS_HEIGHT : 0)});
  const plot = new uPlot({
    ...size(parent.clientWidth),
    padding: [8, LAST_LABEL_WIDTH, isLast ? 0 : 4, 0],
    legend: {show: false},
    cursor: {
      sync: {key: group, filters: {pub: (type) => /^mouse(move|leave)$/.test(type)}},
      drag: {x: Boolean(onSelect), y: false, setScale: false},
      points: {show: false},
      bind: {dblclick: () => () => { if (onReset) onReset(); }},
    },
    scales: {
      x: {time: false, range: (_, from, to) => range() || [from, to]},
      y: options.scale || {},
    },
    axes: [
      {...axis, size: isLast ? TIME_AXIS_HEIGHT : 4, space: 90, incrs: TICKS,
        values: (_, times, __, ___, distance) =>
          isLast ? timeLabels(times, distance) : times.map(() => '')},
      {...axis, size: 56, space: 20, ...options.axis},
    ],
    series: [{}, ...series],
    hooks: {
      ...options.hooks,
      setCursor: [(u) => {
        setText(value, u.cursor.idx === null ? '' : valueText(u.cursor.idx));
        if (onCursor) onCursor(u.cursor.idx);
      }],
      setSelect: [(u) => {
        const {left, width} = u.select;
        if (width < 2) return;
        u.setSelect({left: 0, width: 0, top: 0, height: 0}, false);
        onSelect(u.posToVal(left, 'x'), u.posToVal(left + width, 'x'));
      }],
    },
  }, [[], ...series.map(() => [])], strip);
  plot.root.setAttribute('role', 'img');
  plot.fit = (width = parent.clientWidth) => plot.setSize(size(width));
  plots.add(plot);
  return plot;
}

/** Says in words what a chart shows, for those who cannot see it. */
export function describePlot(plot, text) {
  plot.root.setAttribute('aria-label', text);
}

/** A finger on a chart is a cursor at that place: all charts of its group show their value. */
export function pointAt(plot, clientX, clientY) {
  plot.over.dispatchEvent(new MouseEvent('mousemove', {clientX, clientY}));
}

function drawAll(width) {
  for (const plot of plots) {
    plot.batch(() => {
      plot.fit(width);
      plot.redraw();
    });
  }
}

// Paper is white and of another width than the screen.
addEventListener('beforeprint', () => {
  document.documentElement.classList.add('printing');
  drawAll(PRINTED_WIDTH);
});
addEventListener('afterprint', () => {
  document.documentElement.classList.remove('printing');
  drawAll();
});
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => drawAll());
