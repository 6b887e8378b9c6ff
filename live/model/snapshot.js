// The last ten minutes of a port as text, for the time in which the page is loaded again.

const NONE = -0x80000000;
const MINUS_ZERO = NONE + 1;
const SCALES = [1, 100, 10000];  // values have few decimals: whole numbers take half the room

/** A column of numbers as {scale, data}, {data} or {constant}. */
function encodeColumn(values) {
  if (values.every((value) => Object.is(value, values[0]))) {
    return {constant: Number.isNaN(values[0]) ? null : values[0]};
  }
  for (const scale of SCALES) {
    const whole = Int32Array.from(values, (value) =>
      Number.isNaN(value) ? NONE : Object.is(value, -0) ? MINUS_ZERO : Math.round(value * scale));
    if (values.every((value, i) => Object.is(value, decodeWhole(whole[i], scale)))) {
      return {scale, data: toBase64(whole)};
    }
  }
  return {data: toBase64(Float64Array.from(values))};
}

function decodeWhole(number, scale) {
  return number === NONE ? NaN : number === MINUS_ZERO ? -0 : number / scale;
}

function decodeColumn({constant, scale, data}, length) {
  if (data === undefined) return new Float64Array(length).fill(constant ?? NaN);
  const bytes = fromBase64(data);
  if (!scale) return new Float64Array(bytes);
  return Float64Array.from(new Int32Array(bytes), (number) => decodeWhole(number, scale));
}

function toBase64(numbers) {
  const bytes = new Uint8Array(numbers.buffer);
  const parts = [];
  for (let i = 0; i < bytes.length; i += 0x8000) {
    parts.push(String.fromCharCode(...bytes.subarray(i, i + 0x8000)));
  }
  return btoa(parts.join(''));
}

function fromBase64(data) {
  const text = atob(data);
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < text.length; i++) bytes[i] = text.charCodeAt(i);
  return bytes.buffer;
}

/** Columns of records as an object for JSON. The time is kept as its distance from the stamp. */
export function encodeColumns({time, ...columns}) {
  const ahead = time.map((value, i) => value - (columns.seconds[i] + columns.nanoseconds[i] / 1e9));
  const encoded = Object.entries({ahead, ...columns})
    .map(([name, values]) => [name, encodeColumn(values)]);
  return {length: time.length, ...Object.fromEntries(encoded)};
}

/** The columns again. */
export function decodeColumns({length, ...encoded}) {
  const columns = Object.fromEntries(Object.entries(encoded)
    .map(([name, column]) => [name, decodeColumn(column, length)]));
  const {ahead, seconds, nanoseconds} = columns;
  columns.time = ahead.map((value, i) => value + (seconds[i] + nanoseconds[i] / 1e9));
  delete columns.ahead;
  return columns;
}
