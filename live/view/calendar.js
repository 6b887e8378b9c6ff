// The calendar: a row a day, a cell for each half hour, coloured by its share of records.

import {formatDay} from '../model/axis.js';
import {DAY, HALF_HOUR} from '../model/half_hours.js';
import {append} from './fields.js';

const CELLS = DAY / HALF_HOUR;
const STEPS = {ArrowLeft: -1, ArrowRight: 1, ArrowUp: -CELLS, ArrowDown: CELLS};

export class Calendar {
  /**
   * Into `element`. `onChoose(i)` hears of a chosen half hour, `onDay(midnight)` of a chosen day.
   */
  constructor(element, onChoose, onDay) {
    this.element = element;
    this.onChoose = onChoose;
    this.onDay = onDay;
    this.cells = [];
    element.addEventListener('pointerover', (event) => this.chooseCell(event.target));
    element.addEventListener('click', (event) => {
      const {midnight} = event.target.dataset;
      if (midnight) onDay(Number(midnight));
      else this.chooseCell(event.target);
    });
    element.addEventListener('keydown', (event) => {
      const step = STEPS[event.key];
      if (!step) return;
      event.preventDefault();
      const i = (this.chosen ?? this.cells.length - 1) + step;
      if (this.cells[i]) onChoose(i);
    });
  }

  chooseCell(cell) {
    const i = this.cells.indexOf(cell);
    if (i >= 0) this.onChoose(i);
  }

  /** Shows these half hours, the newest day first. */
  show(halfHours) {
    this.element.replaceChildren();
    this.cells = [];
    this.chosen = null;
    if (!halfHours.length) return;
    const row = (label) => {
      const line = append(this.element, 'div', {className: 'day'});
      line.append(label);
      return line;
    };
    const days = new Map();
    halfHours.starts.forEach((start, i) => {
      const midnight = Math.floor(start / DAY) * DAY;
      if (!days.has(midnight)) days.set(midnight, []);
      days.get(midnight).push(i);
    });
    const head = row(document.createElement('span'));
    for (let hour = 0; hour < 24; hour += 3) {
      append(head, 'i', {textContent: String(hour).padStart(2, '0')});
    }
    for (const [midnight, indices] of [...days].reverse()) {
      const label = Object.assign(document.createElement('button'),
        {textContent: formatDay(midnight), title: 'Show this day'});
      label.dataset.midnight = midnight;
      const line = row(label);
      const first = Math.round((halfHours.starts[indices[0]] - midnight) / HALF_HOUR);
      for (const i of indices) {
        const cell = append(line, 'span', {className: halfHours.quality(i)});
        if (i === indices[0]) cell.style.gridColumnStart = first + 2;
        this.cells[i] = cell;
      }
    }
  }

  /** Marks a half hour. */
  mark(i) {
    this.cells[this.chosen]?.classList.remove('chosen');
    this.cells[i]?.classList.add('chosen');
    this.chosen = i;
  }
}
