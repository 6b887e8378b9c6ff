// Labels of a time axis.

import {formatClock, formatTime} from './format.js';
import {DAY} from './half_hours.js';

const MONTHS = ['Jan', 'Feb', 'Mar', 'Apr', 'May', 'Jun', 'Jul', 'Aug', 'Sep', 'Oct', 'Nov', 'Dec'];

/** Distances of ticks, in seconds, that people can read. */
export const TICKS = [0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 30, 60, 120, 300, 600, 1200,
  1800, 3600, 7200, 3 * 3600, 6 * 3600, 12 * 3600, DAY, 2 * DAY, 5 * DAY, 10 * DAY, 30 * DAY];

/**
 * A label for each time, in UTC, no two of them the same: as many digits as the distance asks for,
 * and the date instead of midnight.
 */
export function timeLabels(times, distance) {
  return times.map((time) => {
    if (distance < 1) return formatClock(time, distance < 0.1 ? 2 : 1);
    if (distance < 60) return formatClock(time);
    return time % DAY ? formatClock(time).slice(0, 5) : formatDay(time);
  });
}

/** 23 Nov */
export function formatDay(time) {
  const [, month, day] = formatTime(time, 0).slice(0, 10).split('-').map(Number);
  return `${day} ${MONTHS[month - 1]}`;
}
