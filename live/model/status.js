// What the texts of the status topic mean.

const STATUS_MEANINGS = [
  [/^Connecting \(no data\)$/, 'just started, the power is on, nothing was heard yet'],
  [/^Info trying (\d+)$/, 'listening and knocking at $1 baud'],
  [/^Connecting \(got data\)$/, 'bytes arrive, perhaps at another baud rate'],
  [/^Info connected at (\d+) baud$/, 'the instrument was understood at $1 baud'],
  [/^Configuring$/, 'the instrument is being set up, which takes about half a minute'],
  [/^Connected$/, 'sampling'],
  [/^Disconnected$/, 'no data for a second or more, or the daemon has ended or lost the broker'],
  [/^Dropping excessive buffer$/,
    'a thousand bytes without the end of a record: noise, or a wrong baud rate'],
];
const WITH_RECORDS = /^(Connected|Dropping.*)$/;

/**
 * A status in words. It is what was said last, and may be out of date: with `live`, records arrive,
 * which contradicts most texts (after a restart of the broker it says "Disconnected" in the
 * daemon's name); without, they do not arrive, which contradicts "Connected".
 */
export function statusMeaning(text, live) {
  const row = STATUS_MEANINGS.find(([pattern]) => pattern.test(text));
  if (!row) return 'a text that this page does not know';
  const meaning = text.replace(...row);
  if (live && !WITH_RECORDS.test(text)) return `${meaning}; out of date, because records arrive`;
  if (!live && text === 'Connected') return `${meaning}; out of date, because no records arrive`;
  return meaning;
}
