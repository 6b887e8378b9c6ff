-- Gusts of a station: in each half hour the mean horizontal wind speed, the highest mean over three
-- seconds, and their ratio. Half hours that have no three seconds without a gap are left out.
SELECT
  start,
  speed_scalar AS mean,
  gust,
  round(toFloat64OrNull(gust) / toFloat64OrNull(mean), 2) AS factor
FROM half_hours
WHERE station = {station:Station} AND seconds >= {from:Seconds} AND seconds < {to:Seconds}
ORDER BY seconds, version DESC
LIMIT 1 BY seconds
