'use strict';
// What the texts of the status topic mean.

const STATUS_MEANINGS = [
  [/^Connecting \(no data\)$/, 'just started, the power is on, nothing was heard yet'],
  [/^Info trying (\d+)$/, 'listening and knocking at $1 baud'],
  [/^Connecting \(got data\)$/, 'bytes arrive, perhaps at another baud rate'],
  [/^Info connected at (\d+) baud$/, 'the instrument was understood at $1 baud'],
  [/^Configuring$/, 'the instrument is being set up, about half a minute'],
  [/^Connected$/, 'sampling'],
  [/^Disconnected$/, 'no data for a second or more, or the program has ended or lost the broker'],
  [/^Dropping excessive buffer$/, 'a thousand bytes without the end of a record: noise, or a wrong baud rate'],
];

/// In words. With `live`, records come: then a text that says otherwise is only an old one, as after
/// a restart of the broker, which says "Disconnected" in the program's name.
function statusMeaning(text, live) {
  const row = STATUS_MEANINGS.find(([pattern]) => pattern.test(text));
  const meaning = row ? text.replace(...row) : 'a text that this page does not know';
  const contradicted = live && row && !/^(Connected|Dropping.*)$/.test(text);
  return contradicted ? `${meaning}; older than the records, which do come` : meaning;
}
