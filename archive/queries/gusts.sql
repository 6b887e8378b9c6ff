-- Gusts of a station: in each half hour the mean horizontal wind speed, the highest mean over three
-- seconds (as WMO-No. 8, chapter 5, has a gust; whole seconds here, one after the other), their ratio,
-- and when the highest began. Records with a fault are left out, and so are half hours without three
-- seconds in a row.
SELECT
  toDateTime(intDiv(began, 1800) * 1800, 'UTC') AS half_hour,
  round(sum(own_speeds) / sum(own_records), 3) AS mean,
  round(maxIf(three_seconds, is_gust), 3) AS gust,
  round(gust / mean, 2) AS factor,
  toDateTime(argMaxIf(began, three_seconds, is_gust), 'UTC') AS gust_began
FROM
(
  -- A second is part of the three that begin with it, one before it and two before it.
  SELECT
    second - ago AS began,
    sum(speeds) / sum(records) AS three_seconds,
    count() = 3 AND began % 1800 <= 1797 AS is_gust,  -- complete, and within the half hour
    sumIf(speeds, ago = 0) AS own_speeds,
    sumIf(records, ago = 0) AS own_records
  FROM
  (
    SELECT
      seconds AS second,
      sum(sqrt(toFloat64(u) * toFloat64(u) + toFloat64(v) * toFloat64(v))) AS speeds,
      count() AS records
    FROM records FINAL
    WHERE station = {station:String} AND replaceAll(diag, '0', '') = ''
      AND seconds >= toUInt64(parseDateTimeBestEffort({from:String}, 'UTC'))
      AND seconds < toUInt64(parseDateTimeBestEffort({to:String}, 'UTC'))
    GROUP BY second
  )
  ARRAY JOIN [0, 1, 2] AS ago
  GROUP BY began
)
GROUP BY half_hour
HAVING sum(is_gust) > 0
ORDER BY half_hour
