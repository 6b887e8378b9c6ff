-- Gusts of a station: in each half hour the mean horizontal wind speed, the highest mean over three
-- seconds, and their ratio. Where no three seconds have all their records, there is no gust and no ratio.
SELECT
  start,
  speed_scalar AS mean,
  gust,
  round(toFloat64OrNull(gust) / toFloat64OrNull(mean), 2) AS factor
FROM half_hours
WHERE station = {station:Station} AND seconds >= {from:Seconds} AND seconds < {to:Seconds}
ORDER BY seconds, version DESC
LIMIT 1 BY seconds
