-- Half-hour means and fluxes of a station: columns, formulas and digits of sonic-plot --table, which
-- doc/data-format.md explains. Records with a fault are left out.
WITH
  -- The mean wind, and the sine and cosine of the two angles of the double rotation.
  sqrt(m_u * m_u + m_v * m_v) AS horizontal,
  sqrt(m_u * m_u + m_v * m_v + m_w * m_w) AS total,
  if(horizontal = 0, 1, m_u / horizontal) AS cos_eta,
  if(horizontal = 0, 0, m_v / horizontal) AS sin_eta,
  if(total = 0, 1, horizontal / total) AS cos_phi,
  if(total = 0, 0, m_w / total) AS sin_phi,
  -- atan2(m_u, m_v), which old servers have not.
  if(abs(m_v) >= abs(m_u),
     if(horizontal = 0, 0, atan(m_u / m_v)) + if(m_v < 0, pi(), 0),
     if(m_u > 0, 0.5, 1.5) * pi() - atan(m_v / m_u)) * 180 / pi() AS degrees,
  -- Covariances of a, the component along the mean horizontal wind, with itself, w and ts.
  c_uu * cos_eta * cos_eta + 2 * c_uv * cos_eta * sin_eta + c_vv * sin_eta * sin_eta AS c_aa,
  c_uw * cos_eta + c_vw * sin_eta AS c_aw,
  c_ut * cos_eta + c_vt * sin_eta AS c_at,
  -- After both rotations.
  c_aa * cos_phi * cos_phi + 2 * c_aw * cos_phi * sin_phi + c_ww * sin_phi * sin_phi AS var_u,
  c_uu * sin_eta * sin_eta - 2 * c_uv * cos_eta * sin_eta + c_vv * cos_eta * cos_eta AS var_v,
  c_aa * sin_phi * sin_phi - 2 * c_aw * cos_phi * sin_phi + c_ww * cos_phi * cos_phi AS var_w,
  (c_ww - c_aa) * cos_phi * sin_phi + c_aw * (cos_phi * cos_phi - sin_phi * sin_phi) AS flux_u,
  (c_vw * cos_eta - c_uw * sin_eta) * cos_phi
    - ((c_vv - c_uu) * cos_eta * sin_eta + c_uv * (cos_eta * cos_eta - sin_eta * sin_eta)) * sin_phi
    AS flux_v,
  c_wt * cos_phi - c_at * sin_phi AS flux_t
-- Rounded to nine digits before, as the means are, so that neither one that ends in a 5 nor the direction
-- of one that is 0 hangs on the last bit of a sum. A half goes up: servers differ in where round() sends it.
SELECT
  formatDateTime(toDateTime(half_hour * 1800, 'UTC'), '%FT%TZ') AS start,
  records,
  floor(m_u * 1e4 + 0.5) / 1e4 AS u,
  floor(m_v * 1e4 + 0.5) / 1e4 AS v,
  floor(m_w * 1e4 + 0.5) / 1e4 AS w,
  floor(m_t * 1e4 + 0.5) / 1e4 AS ts,
  floor(round(total, 9) * 1e4 + 0.5) / 1e4 AS speed,
  floor(round(if(degrees < 0, degrees + 360, degrees), 9) * 1e2 + 0.5) / 1e2 AS direction,
  floor(round(sqrt(greatest(var_u, 0)), 9) * 1e4 + 0.5) / 1e4 AS sd_u,
  floor(round(sqrt(greatest(var_v, 0)), 9) * 1e4 + 0.5) / 1e4 AS sd_v,
  floor(round(sqrt(greatest(var_w, 0)), 9) * 1e4 + 0.5) / 1e4 AS sd_w,
  floor(round(sqrt(greatest(c_tt, 0)), 9) * 1e4 + 0.5) / 1e4 AS sd_ts,
  floor(round(flux_u, 9) * 1e5 + 0.5) / 1e5 AS uw,
  floor(round(flux_v, 9) * 1e5 + 0.5) / 1e5 AS vw,
  floor(round(flux_t, 9) * 1e5 + 0.5) / 1e5 AS wt,
  floor(round(sqrt(sqrt(flux_u * flux_u + flux_v * flux_v)), 9) * 1e4 + 0.5) / 1e4 AS ustar
FROM
(
  SELECT
    intDiv(seconds, 1800) AS half_hour,
    count() AS records,
    round(avg(toFloat64(u)), 9) AS m_u,
    round(avg(toFloat64(v)), 9) AS m_v,
    round(avg(toFloat64(w)), 9) AS m_w,
    round(avg(toFloat64(ts)), 9) AS m_t,
    covarPop(toFloat64(u), toFloat64(u)) AS c_uu,
    covarPop(toFloat64(v), toFloat64(v)) AS c_vv,
    covarPop(toFloat64(w), toFloat64(w)) AS c_ww,
    covarPop(toFloat64(ts), toFloat64(ts)) AS c_tt,
    covarPop(toFloat64(u), toFloat64(v)) AS c_uv,
    covarPop(toFloat64(u), toFloat64(w)) AS c_uw,
    covarPop(toFloat64(v), toFloat64(w)) AS c_vw,
    covarPop(toFloat64(u), toFloat64(ts)) AS c_ut,
    covarPop(toFloat64(v), toFloat64(ts)) AS c_vt,
    covarPop(toFloat64(w), toFloat64(ts)) AS c_wt
  FROM records FINAL
  WHERE station = {station:String} AND replaceAll(diag, '0', '') = ''
    AND seconds >= toUInt64(parseDateTimeBestEffort({from:String}, 'UTC'))
    AND seconds < toUInt64(parseDateTimeBestEffort({to:String}, 'UTC'))
  GROUP BY half_hour
)
ORDER BY start
