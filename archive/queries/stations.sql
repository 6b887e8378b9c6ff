-- All stations: first and last record, for how many seconds there has been none, and how many half
-- hours are more than a day ahead, from a clock that was wrong. These do not count as last records.
SELECT
  station,
  min(first) AS first_record,
  maxIf(last, NOT is_ahead) AS last_record,
  greatest(toInt64(now()) - toInt64(maxIf(last_second, NOT is_ahead)), 0) AS silent_seconds,
  uniqExactIf(seconds, is_ahead) AS half_hours_ahead
FROM
(
  SELECT station, seconds, first, last, last_second,
    last_second > toUInt64(now()) + 86400 AS is_ahead
  FROM half_hours
)
GROUP BY station
ORDER BY station
