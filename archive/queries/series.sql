-- The records of a station as they were sent, in the order of their times, as sonic-records --epoch
-- prints them.
SELECT
  seconds, nanoseconds,
  sent[1] AS u, sent[2] AS v, sent[3] AS w, sent[4] AS sos, sent[5] AS ts, sent[6] AS diag
FROM records FINAL
WHERE station = {station:Station}
  AND seconds >= intDiv({from:Nanoseconds}, 1000000000) AND time >= {from:Nanoseconds}
  AND seconds <= intDiv({to:Nanoseconds}, 1000000000) AND time < {to:Nanoseconds}
ORDER BY seconds, nanoseconds, u, v, w, sos, ts, diag
