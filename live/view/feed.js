// Fetches the written files from beside the page: data/stations.json, and an archive's months.

import {parseMonth, parseStations} from '../model/stations.js';

const FOLDER = 'data/';
const HALF_HOUR = 1800e3;
const WRITTEN_WITHIN = 30e3;  // as late as the one before, or a little later
const RETRY = 600e3;

/** Calls `onStations({written, stations})` with each new file. Without one it looks again later. */
export class Feed {
  constructor(onStations) {
    this.onStations = onStations;
    this.written = null;
    this.look();
  }

  async look() {
    const file = parseStations(await read('stations.json'));
    if (file && file.written !== this.written) {
      this.written = file.written;
      this.onStations(file);
    }
    const next = (this.written ?? 0) + HALF_HOUR + WRITTEN_WITHIN - Date.now();
    setTimeout(() => this.look(), next > 0 ? Math.min(next, HALF_HOUR) : RETRY);
  }

  /** The station in the file of one month, or null. */
  async month(path) {
    return parseMonth(await read(path));
  }
}

async function read(path) {
  try {
    const response = await fetch(FOLDER + path, {cache: 'no-store'});
    return response.ok ? await response.text() : '';
  } catch {
    return '';  // no network: the connection to the broker says so
  }
}
