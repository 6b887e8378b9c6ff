// Draws a wind rose.

import {SECTORS, SPEEDS, windRose} from '../model/rose.js';
import {append} from './fields.js';

const RADIUS = 46;
const NAMESPACE = 'http://www.w3.org/2000/svg';
const HALF_ANGLE = Math.PI / SECTORS.length * 0.8;

/** Draws it into a figure. `reference` says what the directions are clockwise from. */
export function drawRose(figure, directions, speeds, reference) {
  const {counts, total} = windRose(directions, speeds);
  figure.replaceChildren();
  figure.hidden = total === 0;
  if (!total) return;
  const sums = counts.map((classes) => classes.reduce((sum, count) => sum + count, 0));
  const most = Math.max(...sums);
  const svg = document.createElementNS(NAMESPACE, 'svg');
  svg.setAttribute('viewBox', '-62 -62 124 124');
  svg.setAttribute('role', 'img');
  svg.setAttribute('aria-label', `Wind rose: ${sums.map((sum, i) => [sum, SECTORS[i]])
    .filter(([sum]) => sum).sort((a, b) => b[0] - a[0]).slice(0, 4)
    .map(([sum, name]) => `${name} ${percent(sum, total)}`).join(', ')}`);
  for (const part of [0.5, 1]) add(svg, 'circle', {r: RADIUS * part});
  ['N', 'E', 'S', 'W'].forEach((name, i) => {
    const [x, y] = place(RADIUS + 9, i * Math.PI / 2);
    add(svg, 'text', {x, y: y + 4}).textContent = name;
  });
  counts.forEach((classes, sector) => drawSector(svg, sector, classes, most));
  const caption = document.createElement('figcaption');
  append(caption, 'p', {textContent: `Where the wind comes from, clockwise from ${reference}. ` +
    `The rim is ${percent(most, total)} of ${total} half hours.`});
  const legend = append(caption, 'p', {className: 'legend'});
  SPEEDS.forEach((end, i) => {
    append(legend, 'span', {className: `speed${i}`});
    legend.append(speedName(end, i));
  });
  legend.append(' m/s');
  figure.append(svg, caption);
}

function drawSector(svg, sector, classes, most) {
  const middle = sector * 2 * Math.PI / SECTORS.length;
  let below = 0;
  classes.forEach((count, i) => {
    if (!count) return;
    const [inner, outer] = [below, below + count].map((sum) => RADIUS * sum / most);
    below += count;
    const [left, right] = [middle - HALF_ANGLE, middle + HALF_ANGLE];
    const start = place(inner, left);
    add(svg, 'path', {class: `speed${i}`,
      d: `M${start} L${place(outer, left)} A${outer} ${outer} 0 0 1 ${place(outer, right)} ` +
        `L${place(inner, right)} A${inner} ${inner} 0 0 0 ${start}Z`});
  });
}

/** A place at a distance from the middle, clockwise from the top. */
function place(distance, angle) {
  return [distance * Math.sin(angle), -distance * Math.cos(angle)];
}

function add(parent, name, attributes) {
  const element = parent.appendChild(document.createElementNS(NAMESPACE, name));
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  return element;
}

function percent(count, total) {
  return `${Math.round(100 * count / total)} %`;
}

function speedName(end, i) {
  return i === 0 ? `below ${end}` : end === Infinity ? `${SPEEDS[i - 1]} or more` :
    `${SPEEDS[i - 1]} to ${end}`;
}
