// Whether data arrive at a port. Only records show it, never the status text.

import {formatAge} from './format.js';

const MAX_FRESH_MILLISECONDS = 2000;

/** A time in the future is not recent either: this computer's clock was set back. */
function isRecent(then, now) {
  return then !== null && Math.abs(now - then) <= MAX_FRESH_MILLISECONDS;
}

/** How old a stamp is by this computer's clock: "1 h 0 min ago". */
export function stampAge(seconds, now) {
  const ahead = seconds * 1000 - now;
  return ahead < MAX_FRESH_MILLISECONDS ? `${formatAge(-ahead)} ago` :
    `${formatAge(ahead)} ahead of this computer's clock`;
}

/**
 * What is to be said of a port: {state, text, age}. `state` is live, unreadable, stopped, waiting
 * or unknown. `text` says it in words, `age` how old the last record is, or is empty. `link` is
 * {online, heardAt}: whether the broker is connected, and when it last sent anything at all.
 */
export function portState(port, now, link) {
  const {record, heardAt, connectedAt} = port;
  const age = record === null ? '' :
    heardAt === null ? stampAge(record.time, now) : `${formatAge(now - heardAt)} ago`;
  if (!link.online) return {state: 'unknown', text: 'Unknown: no connection to the broker', age};
  if (isRecent(heardAt, now)) return {state: 'live', text: 'Receiving data', age: 'now'};
  if (isRecent(port.unreadable.lastAt, now)) {
    return {state: 'unreadable', text: 'Records arrive, but cannot be read', age};
  }
  // A time in the future says nothing about the broker.
  const since = Math.max(0, ...[heardAt, connectedAt].filter((then) => then <= now));
  if (isRecent(since, now)) return {state: 'waiting', text: 'Waiting for a record', age};
  // The silence may be the broker's or the network's.
  if (link.heardAt < since + MAX_FRESH_MILLISECONDS) {
    return {state: 'unknown', text: 'Unknown: nothing is heard from the broker', age};
  }
  if (record === null) return {state: 'waiting', text: 'Waiting for the first record', age};
  return {state: 'stopped', age,
    text: heardAt === null ? `No data: the last record is stamped ${age}` :
      `No data for ${formatAge(now - heardAt)}`};
}
