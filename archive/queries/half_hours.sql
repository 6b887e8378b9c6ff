-- Half hours of a station that begin in the span, as sonic-records --half-hours prints them.
SELECT
  start, records, expected, percent, faults, gaps, spikes, u, v, w, sos, ts, speed,
  speed_scalar, direction, sd_direction, gust, cov_uu, cov_uv, cov_uw, cov_ut, cov_vv, cov_vw,
  cov_vt, cov_ww, cov_wt, cov_tt, sd_u, sd_v, sd_w, sd_ts, uw, vw, wt, ustar, tke, skew_w,
  kurt_w, skew_ts, kurt_ts, steady_uw, steady_wt, itc_u, itc_w, flag_uw, flag_wt, L, zL
FROM half_hours
WHERE station = {station:Station} AND seconds >= {from:Seconds} AND seconds < {to:Seconds}
ORDER BY seconds, version DESC
LIMIT 1 BY seconds
