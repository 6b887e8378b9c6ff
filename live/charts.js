'use strict';
// The strip charts of one port: the last ten minutes, or, after pause or zoom, a part of what there
// was at that moment.

const STRIPS = [
  {name: 'u', label: 'u, m/s', colour: '--u'},
  {name: 'v', label: 'v, m/s', colour: '--v'},
  {name: 'w', label: 'w, m/s', colour: '--w'},
  {name: 'ts', label: 'Sonic temperature, °C', colour: '--ts'},
];
const STRIP_HEIGHT = 120;
const TIME_AXIS_HEIGHT = 26;
const SHORTEST_SECONDS = 0.5;

class Charts {
  /// Draws into `element`, from `port`. `onPause(paused)` is told of each change.
  constructor(element, port, onPause) {
    this.element = element;
    this.port = port;
    this.onPause = onPause;
    this.frozen = null;
    this.range = null;  // [from, to] in record time; null: all
    this.plots = [];
    this.inSight = false;
    new IntersectionObserver((entries) => { this.inSight = entries.at(-1).isIntersecting; })
      .observe(element);
    new ResizeObserver(() => this.plots.forEach((plot) => plot.setSize(this.size(plot.last))))
      .observe(element);
    matchMedia('(prefers-color-scheme: dark)')
      .addEventListener('change', () => this.plots.forEach((plot) => plot.redraw()));
  }

  get data() {
    return this.frozen || {columns: this.port.window.columns(), gaps: this.port.gaps.list};
  }

  /// The stretch that is shown.
  get visible() {
    const times = this.data.columns.time;
    return this.range || [times[0], times[times.length - 1]];
  }

  pause() {
    if (this.frozen) return;
    const {columns, gaps} = this.data;
    const copies = Object.entries(columns).map(([name, array]) => [name, array.slice()]);
    this.frozen = {columns: Object.fromEntries(copies), gaps};
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

  /// Shows a part, which stands still.
  show(from, to) {
    const times = this.data.columns.time;
    if (times.length < 2) return;
    this.pause();
    const [first, last] = [times[0], times[times.length - 1]];
    const length = Math.min(Math.max(to - from, SHORTEST_SECONDS), last - first);
    const start = Math.min(Math.max(from, first), last - length);
    this.range = [start, start + length];
    this.draw();
  }

  /// Zooms around the middle; a factor below 1 shows less.
  zoom(factor) {
    const [from, to] = this.visible;
    const [middle, half] = [(from + to) / 2, (to - from) / 2 * factor];
    this.show(middle - half, middle + half);
  }

  /// Moves by a part of what is shown.
  move(part) {
    const [from, to] = this.visible;
    this.show(from + part * (to - from), to + part * (to - from));
  }

  csv() {
    return toCsv(this.data.columns, ...this.visible);
  }

  /// While nothing stands still, called each time that new records should be seen.
  draw() {
    const {columns} = this.data;
    if (!columns.time.length) return;
    if (!this.plots.length) this.plots = STRIPS.map((strip, i) => this.makePlot(strip, i));
    this.plots.forEach((plot, i) => plot.setData([columns.time, columns[STRIPS[i].name]]));
  }

  size(last) {
    const width = Math.max(200, this.element.clientWidth);
    return {width, height: STRIP_HEIGHT + (last ? TIME_AXIS_HEIGHT : 0)};
  }

  makePlot({name, label, colour}, index) {
    const last = index === STRIPS.length - 1;
    const css = (variable) => () => getComputedStyle(this.element).getPropertyValue(variable);
    const axis = {stroke: css('--ink'), font: '13px system-ui, sans-serif',
      grid: {stroke: css('--line'), width: 1}, ticks: {stroke: css('--line'), width: 1}};
    const plot = new uPlot({
      ...this.size(last),
      padding: [8, 12, last ? 0 : 4, 0],
      cursor: {
        sync: {key: this.port.name, filters: {pub: (type) => /^mouse(move|leave)$/.test(type)}},
        drag: {x: true, y: false, setScale: false},
        points: {show: false},
        bind: {dblclick: () => () => this.showAll()},
      },
      legend: {markers: {show: false}},
      scales: {x: {range: (_, from, to) => this.range || [from, Math.max(to, from + 10)]}},
      axes: [
        {...axis, size: last ? TIME_AXIS_HEIGHT : 4, space: 90,
          values: (_, times) => times.map((time) => last ? this.timeLabel(time) : '')},
        {...axis, size: 56, space: 20},
      ],
      series: [
        {value: (_, time) => time === null ? '' : formatTime(time).slice(11)},
        {label, stroke: css(colour), width: 1.25, points: {show: false},
          value: (_, value) => value === null ? '' : formatValue(value),
          gaps: (u, series, from, to) => this.gapsInPixels(u, u.data[series], from, to)},
      ],
      hooks: {setSelect: [(u) => this.zoomToSelection(u)]},
    }, [[], []], this.element);
    plot.last = last;
    plot.root.querySelector('.u-over').setAttribute('role', 'img');
    plot.root.querySelector('.u-over').setAttribute('aria-label', `${label}: chart`);
    return plot;
  }

  timeLabel(time) {
    const [from, to] = this.visible;
    return to - from < 5 ? formatTime(time).slice(11, 21) : formatClock(time);
  }

  zoomToSelection(plot) {
    const {left, width} = plot.select;
    if (width < 2) return;
    const [from, to] = [plot.posToVal(left, 'x'), plot.posToVal(left + width, 'x')];
    plot.setSelect({left: 0, width: 0, top: 0, height: 0}, false);
    this.show(from, to);
  }

  /// No line is drawn over missing records and missing values.
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
