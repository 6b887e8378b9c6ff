// Numbers, times and ages as people read them.

export const MISSING = '–';

const MINUTE = 60;
const HOUR = 3600;
const DAY = 86400;
const YEAR = 365 * DAY;

/** A number with this many digits after the point; a dash if it is none. */
export function formatValue(number, decimals = 2) {
  if (!Number.isFinite(number)) return MISSING;
  return (Object.is(number, -0) ? '-' : '') + number.toFixed(decimals);
}

/** Whole degrees from 0 to 359: "111°". */
export function formatDegrees(degrees) {
  return Number.isFinite(degrees) ? `${Math.round(degrees) % 360}°` : MISSING;
}

/** 57 600: digits in groups of three, by spaces that do not break. */
export function formatCount(number) {
  return String(number).replace(/\B(?=(\d{3})+$)/g, '\u202f');
}

/** 2026-01-31 12:34:56.031, from seconds since 1970, in UTC. */
export function formatTime(seconds, decimals = 3) {
  const text = new Date(Math.round(seconds * 1000)).toISOString().replace('T', ' ');
  return text.slice(0, decimals ? 20 + decimals : 19);
}

/** 12:34:56 */
export function formatClock(seconds, decimals = 0) {
  return formatTime(seconds, decimals).slice(11);
}

/** 3.531 s, and from a minute on as formatAge. */
export function formatSpan(seconds) {
  return seconds < MINUTE ? `${Number(seconds.toFixed(3))} s` : formatAge(seconds * 1000);
}

/** 14 s, 3 min 5 s, 2 h 10 min, 5 d 3 h, 69 y 314 d; of a negative one 0 s. */
export function formatAge(milliseconds) {
  const seconds = Math.max(0, Math.floor(milliseconds / 1000));
  if (seconds < MINUTE) return `${seconds} s`;
  const units = [[YEAR, 'y', DAY, 'd'], [DAY, 'd', HOUR, 'h'], [HOUR, 'h', MINUTE, 'min'],
    [MINUTE, 'min', 1, 's']];
  const [large, largeName, small, smallName] = units.find(([length]) => seconds >= length);
  const rest = Math.floor((seconds % large) / small);
  return `${Math.floor(seconds / large)} ${largeName} ${rest} ${smallName}`;
}

/** A text that somebody published, cut to a length that the page can show. */
export function shorten(text, length) {
  if (text.length <= length) return text;
  return `${text.slice(0, length)}… (${formatCount(text.length)} characters)`;
}

/** Sorts names as people count: port 2 before port 10. */
export const compareNames = new Intl.Collator('en', {numeric: true}).compare;
