// The order of the ports.

import {compareNames} from './format.js';

const WORST_FIRST = ['stopped', 'unreadable', 'waiting', 'unknown', 'live'];

/**
 * Sorts {device, number, state, silentFor, missed}: by name as people count or, if asked, those
 * that need somebody first: without data, longest first, then those that miss most.
 */
export function inOrder(ports, worstFirst) {
  const byName = (a, b) => compareNames(a.device, b.device) || compareNames(a.number, b.number);
  const rank = ({state}) => WORST_FIRST.indexOf(state);
  const byNeed = (a, b) => rank(a) - rank(b) || b.silentFor - a.silentFor || b.missed - a.missed;
  return [...ports].sort((a, b) => (worstFirst ? byNeed(a, b) : 0) || byName(a, b));
}
