// A wind rose: how often the wind comes from where, and how strong.

export const SECTORS = ['N', 'NNE', 'NE', 'ENE', 'E', 'ESE', 'SE', 'SSE', 'S', 'SSW', 'SW', 'WSW',
  'W', 'WNW', 'NW', 'NNW'];
/** Upper ends of the classes of speed, m/s. */
export const SPEEDS = [2, 5, 10, Infinity];

/**
 * Counts half hours: {counts, total}, where counts[sector][speed class] are for `directions` and
 * `speeds` of equal length. Those with null are left out.
 */
export function windRose(directions, speeds) {
  const counts = SECTORS.map(() => SPEEDS.map(() => 0));
  const width = 360 / SECTORS.length;
  let total = 0;
  directions.forEach((direction, i) => {
    if (direction === null || speeds[i] === null) return;
    const sector = Math.round(direction / width) % SECTORS.length;
    counts[sector][SPEEDS.findIndex((end) => speeds[i] < end)]++;
    total++;
  });
  return {counts, total};
}
