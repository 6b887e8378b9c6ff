// Speed and direction of the wind: of one record, and means.

import {firstNotBefore} from './record_window.js';

const DEGREES = 180 / Math.PI;
const GUST_SECONDS = 3;
const MIN_GUST_RATE_HZ = 4;  // records a second; fewer make no mean of three seconds

/** Horizontal speed. */
export function speed(u, v) {
  return Math.sqrt(u * u + v * v);
}

/** A direction from the instrument's north, turned by the bearing of that north; 0 to below 360. */
export function turned(degrees, angle) {
  return ((degrees + angle) % 360 + 360) % 360;
}

/** The same for a direction as text, with as many digits. An empty one stays empty. */
export function turnedText(text, angle) {
  if (text === '' || angle === 0) return text;
  const digits = text.split('.')[1]?.length ?? 0;
  return (Number(turned(Number(text), angle).toFixed(digits)) % 360).toFixed(digits);
}

/**
 * Where the wind comes from, in degrees clockwise from the instrument's north or, turned by
 * `angle`, from north. NaN where there is no wind, or none is known.
 */
export function direction(u, v, angle = 0) {
  return u === 0 && v === 0 ? NaN : turned(Math.atan2(u, v) * DEGREES, angle);
}

/** The highest mean speed over three seconds that have all their records. */
class Gust {
  constructor(rate) {
    this.count = rate < MIN_GUST_RATE_HZ ? 0 : Math.round(GUST_SECONDS * rate);
    this.longest = GUST_SECONDS + 0.5 / rate;  // stamps are not quite even
    this.times = [];
    this.speeds = [];
    this.sum = 0;
    this.next = 0;  // where the oldest of them is, once there are enough
    this.highest = NaN;
  }

  add(time, value) {
    if (!this.count) return;
    const {next, count} = this;
    this.sum += value - (this.speeds[next] ?? 0);
    this.times[next] = time;
    this.speeds[next] = value;
    this.next = (next + 1) % count;
    const isWhole = this.times.length === count && time - this.times[this.next] < this.longest;
    if (isWhole && !(this.sum / count <= this.highest)) this.highest = this.sum / count;
  }
}

/**
 * Means over the last `seconds` of a window's columns: {speed, direction, gust, seconds}, where
 * `seconds` is how much of that time the records cover. Null if there is no good record. Records
 * with a fault (`diag` is not 0) count nowhere, as in the half-hour statistics. `rate` is the
 * number of records a second, 0 if it is not known: then there is no gust.
 */
export function means({time, u, v, diag}, seconds, rate, angle = 0) {
  const last = time[time.length - 1];
  const gust = new Gust(rate);
  let [n, sumU, sumV, sumSpeed, first] = [0, 0, 0, 0, NaN];
  for (let i = firstNotBefore(time, last - seconds); i < time.length; i++) {
    const value = speed(u[i], v[i]);
    if (diag[i] !== 0 || Number.isNaN(value)) continue;
    if (n++ === 0) first = time[i];
    sumU += u[i];
    sumV += v[i];
    sumSpeed += value;
    gust.add(time[i], value);
  }
  if (!n) return null;
  return {speed: sumSpeed / n, direction: direction(sumU / n, sumV / n, angle),
    gust: gust.highest, seconds: last - first};
}
