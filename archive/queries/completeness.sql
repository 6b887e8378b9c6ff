-- How complete the days of all stations are: records without a fault, of how many that the rate
-- makes, records with a fault, gaps, and the last record. A day without records has a line as well;
-- for it, and for half hours that are missing, the rate is that of the station's latest half hour.
-- Half hours that are not over yet do not count.
SELECT
  station,
  concat(day = 0 ? '1970-01-01' : toString(toDate(toUInt16(day))), 'T00:00:00Z') AS start,
  sum(good) AS records,
  sum(due) + (sum(half_hours) - sum(found)) * max(usual) AS expected,
  round(100 * records / expected, 2) AS percent,
  sum(bad) AS faults,
  sum(holes) AS gaps,
  max(latest) AS last_record
FROM
(
  SELECT
    station,
    arrayJoin(arrayMap(d -> toUInt64(intDiv({from:Seconds}, 86400) + d), range(days))) AS day,
    toInt64(intDiv(least(day * 86400 + 86400, end) - greatest(day * 86400, {from:Seconds}), 1800))
      AS half_hours,
    usual,
    toUInt64(0) AS found, toUInt64(0) AS due, toUInt64(0) AS good, toUInt64(0) AS bad,
    toUInt64(0) AS holes, '' AS latest
  FROM
  (
    SELECT
      station,
      argMax(toUInt64OrZero(expected), seconds) AS usual,
      greatest(least({to:Seconds}, intDiv(toUInt64(now()), 1800) * 1800), {from:Seconds}) AS end,
      toUInt64(intDiv(end + 86399, 86400) - intDiv({from:Seconds}, 86400)) AS days
    FROM half_hours
    WHERE expected != ''
    GROUP BY station
  )
  UNION ALL
  SELECT
    station, intDiv(seconds, 86400), toInt64(0), toUInt64(0), toUInt64(1), toUInt64OrZero(expected),
    toUInt64OrZero(records), toUInt64OrZero(faults), toUInt64OrZero(gaps), last
  FROM half_hours FINAL
  WHERE seconds >= {from:Seconds} AND seconds < {to:Seconds} AND seconds + 1800 <= toUInt64(now())
)
GROUP BY station, day
ORDER BY station, day
