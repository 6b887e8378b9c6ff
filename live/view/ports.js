// The table of all ports.

import {inOrder} from '../model/order.js';
import {setText} from './fields.js';

const MAX_UNFOLDED_AT_FIRST = 3;  // a logger has no more ports

export class Ports {
  /**
   * `unfolded` are the keys of those that were unfolded before the page was loaded again, or
   * nothing.
   */
  constructor(unfolded) {
    this.entries = new Map();
    this.unfolded = unfolded;
    this.table = document.getElementById('ports');
    this.worst = document.getElementById('worst');
    this.worst.addEventListener('change', () => this.sort(Date.now()));
  }

  [Symbol.iterator]() {
    return this.entries.values();
  }

  get(key) {
    return this.entries.get(key);
  }

  /** A port alone is its card; a logger's are unfolded, those of a central broker are lines. */
  add(entry, now) {
    this.entries.set(entry.key, entry);
    const {size} = this.entries;
    if (size === 2) {
      const [first] = this;
      first.setUnfolded(this.isUnfoldedAtFirst(first, 1));
    }
    entry.setUnfolded(size === 1 || this.isUnfoldedAtFirst(entry, size));
    this.table.append(entry.element);
    this.table.hidden = false;
    this.table.classList.toggle('single', size === 1);
    document.getElementById('nothing').hidden = true;
    document.getElementById('sorting').hidden = size < 2;
    this.sort(now);
  }

  isUnfoldedAtFirst(entry, place) {
    if (this.unfolded) return this.unfolded.includes(entry.key);
    return entry.port.device === '' && place <= MAX_UNFOLDED_AT_FIRST;
  }

  /** The keys of all that are unfolded. */
  unfoldedKeys() {
    return [...this].filter((entry) => entry.isUnfolded).map((entry) => entry.key);
  }

  sort(now) {
    const ports = [...this].map((entry) => {
      const {device, number, heardAt, record} = entry.port;
      return {entry, device, number, state: entry.state?.state ?? 'unknown', missed: entry.missed,
        silentFor: now - (heardAt ?? 1000 * (record?.time ?? 0))};
    });
    const elements = inOrder(ports, this.worst.checked).map(({entry}) => entry.element);
    const present = [...this.table.tBodies];
    if (elements.some((element, i) => element !== present[i])) this.table.append(...elements);
  }

  /** Shows the lines: those in sight, or all. */
  showLines(now, all) {
    for (const entry of this) {
      if (all || entry.isInSight) entry.showLine(now);
    }
  }

  /** Shows the cards in sight. `steady` is the time by a clock that is never set. */
  showCards(now, steady) {
    for (const entry of this) {
      if (entry.isInSight && entry.isUnfolded) entry.card.update(now, steady);
    }
  }

  draw() {
    for (const entry of this) {
      if (!entry.isUnfolded) continue;
      const {strips} = entry.card;
      if (strips.isInSight && !strips.frozen) strips.draw();
    }
  }

  /** "Receiving data", "No data for 14 s", or how many of many are silent; for the tab's title. */
  summary() {
    const entries = [...this].filter(({state}) => state);
    if (!entries.length) return '';
    if (entries.length === 1) return entries[0].state.text;
    const silent = entries.filter(({state}) => state.state !== 'live').length;
    return silent ? `${silent} of ${entries.length} without data` : 'Receiving data';
  }

  showTitle(name) {
    const heading = this.entries.size > 1 ? 'Sonic anemometers' : 'Sonic anemometer';
    setText(document.querySelector('h1'), name ? `${heading}, ${name}` : heading);
    const title = [this.summary(), name || 'sonic anemometer'].filter(Boolean).join(' – ');
    if (document.title !== title) document.title = title;
  }
}
