-- The records of a station as they were sent, in the order of their times: for a spectrum, or to
-- take the archive's word to a file.
SELECT seconds, nanoseconds, u, v, w, sos, ts, diag
FROM records FINAL
WHERE station = {station:String}
  AND seconds >= toUInt64(parseDateTimeBestEffort({from:String}, 'UTC'))
  AND seconds < toUInt64(parseDateTimeBestEffort({to:String}, 'UTC'))
ORDER BY seconds, nanoseconds
