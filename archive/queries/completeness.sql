-- How complete the days of all stations are: records, the share of the day's seconds in which at
-- least one came, and how many came in such a second. A day without a record has no line.
SELECT
  station,
  toDate(toDateTime(seconds, 'UTC')) AS day,
  count() AS records,
  round(100 * uniqExact(seconds) / 86400, 3) AS percent,
  round(count() / uniqExact(seconds), 2) AS rate,
  countIf(replaceAll(diag, '0', '') != '') AS faults
FROM records FINAL
WHERE seconds >= toUInt64(parseDateTimeBestEffort({from:String}, 'UTC'))
  AND seconds < toUInt64(parseDateTimeBestEffort({to:String}, 'UTC'))
GROUP BY station, day
ORDER BY station, day
