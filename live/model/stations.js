// The written file: which loggers there are, their instruments, and the half hours of each.

import {HalfHours} from './half_hours.js';
import {parseJson} from './json.js';

const FORMAT = 1;

/**
 * The stations in the file's text: {written, stations}, or null if it is none. `written` is in
 * milliseconds. What is missing in a station is empty.
 */
export function parseStations(text) {
  const file = parseJson(text);
  const written = Date.parse(file?.written);
  if (file?.format !== FORMAT || Number.isNaN(written)) return null;
  const stations = arrayOf(file.stations).map((station) => parseStation(station, written));
  return {written, stations};
}

/** One station of an archive's month, from that file's text; null if it is none. */
export function parseMonth(text) {
  const file = parseStations(text);
  return file?.stations.length === 1 ? file.stations[0] : null;
}

function parseStation(station, written) {
  return {
    name: String(station.name ?? ''),
    written,
    files: station.files ?? {},
    room: arrayOf(station.room),
    instruments: arrayOf(station.instruments).map((instrument) => ({
      serialNumber: String(instrument.serial_number ?? ''),
      port: instrument.port === undefined ? null : String(instrument.port),
      angle: Number.isFinite(instrument.mounting_angle) ? instrument.mounting_angle : null,
      halfHours: new HalfHours(arrayOf(instrument.half_hours).map(String), written),
    })),
  };
}

function arrayOf(value) {
  return Array.isArray(value) ? value.filter((entry) => entry !== null) : [];
}

/** The station that a port belongs to. At a logger's own broker ports have no device's name. */
export function stationOf(stations, device) {
  if (device === '') return stations.length === 1 ? stations[0] : null;
  return stations.find(({name}) => name === device) ?? null;
}

/**
 * A port's instruments, the present one first. An instrument without a port belongs to the port
 * without a number or, if it is the station's only one, to any.
 */
export function instrumentsOf(station, number) {
  const all = station?.instruments ?? [];
  const there = all.filter(({port}) => (port ?? '') === number);
  return there.length ? there : all.length === 1 && all[0].port === null ? all : [];
}

/** What is left on the disks, a sentence each: {text, isWarning}. */
export function roomTexts(room) {
  return room.map(({free_bytes: free, day_bytes: day, days, warning}) => ({
    isWarning: Boolean(warning),
    text: `Room for ${days} days: ${formatBytes(free)} free, ${formatBytes(day)} arrived in a day` +
      (warning ? `. sonicd-room: ${warning}` : ''),
  }));
}

/** 12.3 GB, 190 MB */
function formatBytes(bytes) {
  return bytes >= 1e9 ? `${(bytes / 1e9).toFixed(1)} GB` : `${Math.round(bytes / 1e6)} MB`;
}
