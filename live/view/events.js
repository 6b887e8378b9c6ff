// A list of the last hundred things that happened.

import {formatTime} from '../model/format.js';

const MAX_EVENTS = 100;

export class Events {
  /** `rows` are those of rows() before the page was loaded again. */
  constructor(body, rows = []) {
    this.body = body;
    this.waiting = rows;  // drawn with the next update: a bad line has many gaps a second
  }

  add(where, text) {
    this.waiting.push([formatTime(Date.now() / 1000, 0), where, text]);
    this.waiting.splice(0, this.waiting.length - MAX_EVENTS);
  }

  update() {
    for (const cells of this.waiting) {
      const row = this.body.insertRow(0);
      for (const text of cells) row.insertCell().textContent = text;
    }
    this.waiting.length = 0;
    while (this.body.rows.length > MAX_EVENTS) this.body.deleteRow(-1);
  }

  /** What the list says, oldest first. */
  rows() {
    this.update();
    return [...this.body.rows].reverse()
      .map((row) => [...row.cells].map((cell) => cell.textContent));
  }
}
