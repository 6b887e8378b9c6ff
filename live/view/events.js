// A list of the last hundred things that happened.

import {formatTime} from '../model/format.js';
import {copyOf} from './fields.js';

const MAX_EVENTS = 100;

export class Events {
  /**
   * Adds the list to the page; `kind` names it for style and tests. `rows` are those of rows()
   * before the page was loaded again.
   */
  constructor(kind, title, rows = []) {
    const section = copyOf('list');
    section.id = `${kind}-events`;
    section.querySelector('h2').textContent = title;
    section.querySelector('.scroll').setAttribute('aria-label', title);
    document.getElementById('lists').append(section);
    this.body = section.querySelector('tbody');
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
