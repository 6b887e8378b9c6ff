'use strict';
// The list of the last hundred status changes and gaps.

const MOST_EVENTS = 100;

class Events {
  constructor(body) {
    this.body = body;
    this.waiting = [];  // drawn with the next update: a bad line has many gaps a second
  }

  add(where, text) {
    this.waiting.push([formatTime(Date.now() / 1000).slice(0, 19), where, text]);
    this.waiting.splice(0, this.waiting.length - MOST_EVENTS);
  }

  update() {
    for (const cells of this.waiting) {
      const row = this.body.insertRow(0);
      for (const text of cells) row.insertCell().textContent = text;
    }
    this.waiting.length = 0;
    while (this.body.rows.length > MOST_EVENTS) this.body.deleteRow(-1);
  }
}
