// One record, from a message.

import {parseJson} from './json.js';

/** The values of a record, in the order of the data file's columns. */
export const VALUES = ['u', 'v', 'w', 'sos', 'ts', 'diag'];
const MAX_TIME_SECONDS = 253402300799;  // the end of 9999: later dates look otherwise, or are none
const MAX_DECIMALS = 31;

const BITS = 5;  // for the decimals of one value, all of them in one number

/** How many digits after the point a value was sent with. */
export function decimalsOf(packed, name) {
  return (packed >> (BITS * VALUES.indexOf(name))) & MAX_DECIMALS;
}

function packDecimals(text) {
  let packed = 0;
  for (const [, name, digits] of text.matchAll(/"(\w+)"\s*:\s*-?\d+\.(\d+)/g)) {
    const i = VALUES.indexOf(name);
    if (i >= 0) packed |= Math.min(digits.length, MAX_DECIMALS) << (BITS * i);
  }
  return packed;
}

/**
 * The record in a message, or null if there is none. The daemon passes on what the instrument
 * wrote, so a missing value makes text that is not JSON; and anybody on the logger may publish. A
 * value that is not a number becomes NaN. `decimals` is for decimalsOf.
 */
export function parseRecord(text) {
  const message = parseJson(text);
  const isTime = (value) => Number.isFinite(value) && value >= 0 && value < MAX_TIME_SECONDS;
  if (!message || !isTime(message.SECONDS) || !isTime(message.NANOSECONDS)) return null;
  const record = {
    seconds: message.SECONDS,
    nanoseconds: message.NANOSECONDS,
    time: message.SECONDS + message.NANOSECONDS / 1e9,
    decimals: packDecimals(text),
  };
  for (const name of VALUES) {
    const isText = name === 'diag' && /^\d+$/.test(message.diag);
    const value = isText ? Number(message.diag) : message[name];
    record[name] = Number.isFinite(value) ? value : NaN;
  }
  return record;
}
