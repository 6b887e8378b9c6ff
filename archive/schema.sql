-- The tables of an archive on one server. sonic-tables makes them: it leaves out the codecs where the
-- server is too old for them, and puts replicated engines in where there are replicas.

CREATE DATABASE IF NOT EXISTS sonic;

-- A value is kept as a whole number of hundredths (u100: m/s, ts100: degrees C) if that gives its text
-- back. A record with any other value, such as "-0.00", has zeros there, and all its values in `texts`,
-- separated by tabs. u, v, w, sos and ts are the values of both, for queries that compute.
--
-- The whole record is the key, and equal records become one. So a file may be loaded twice, in
-- pieces or in any order; and where a clock was put back, two records with the same stamp and
-- different values both stay. Equal records meet only when the server merges parts, some time after
-- loading: a query says FINAL to see each once at any moment.
--
-- A partition is a month. After February 2106 the months' names begin again at 197001, and nothing
-- else changes.
CREATE TABLE IF NOT EXISTS sonic.records (
  station String CODEC(ZSTD(3)),
  seconds UInt64 CODEC(DoubleDelta, ZSTD(1)),
  nanoseconds UInt32 CODEC(T64, ZSTD(1)),
  u100 Int16 CODEC(Delta, T64('bit'), ZSTD(1)),
  v100 Int16 CODEC(Delta, T64('bit'), ZSTD(1)),
  w100 Int16 CODEC(Delta, T64('bit'), ZSTD(1)),
  sos100 UInt16 CODEC(Delta, T64('bit'), ZSTD(1)),
  ts100 Int16 CODEC(Delta, T64('bit'), ZSTD(1)),
  diag UInt32 CODEC(T64, ZSTD(1)),
  texts String CODEC(ZSTD(3)),
  rate UInt16 CODEC(T64, ZSTD(1)),
  time UInt64 ALIAS seconds * 1000000000 + nanoseconds,
  sent Array(String) ALIAS texts != '' ? splitByChar('\t', texts) : arrayPushBack(
    arrayMap(n -> concat(n < 0 ? '-' : '', toString(intDiv(abs(n), 100)), '.',
                         substring(toString(100 + abs(n) % 100), 2)),
             [u100, v100, w100, toInt32(sos100), ts100]),
    toString(diag)),
  u Float64 ALIAS texts = '' ? u100 / 100 : toFloat64OrZero(splitByChar('\t', texts)[1]),
  v Float64 ALIAS texts = '' ? v100 / 100 : toFloat64OrZero(splitByChar('\t', texts)[2]),
  w Float64 ALIAS texts = '' ? w100 / 100 : toFloat64OrZero(splitByChar('\t', texts)[3]),
  sos Float64 ALIAS texts = '' ? sos100 / 100 : toFloat64OrZero(splitByChar('\t', texts)[4]),
  ts Float64 ALIAS texts = '' ? ts100 / 100 : toFloat64OrZero(splitByChar('\t', texts)[5])
) ENGINE = ReplacingMergeTree()
PARTITION BY toYYYYMM(toDateTime(toUInt32(seconds), 'UTC'))
PRIMARY KEY (station, seconds)
ORDER BY (station, seconds, nanoseconds, u100, v100, w100, sos100, ts100, diag, texts);

-- Takes records as text and keeps nothing.
CREATE TABLE IF NOT EXISTS sonic.incoming (
  station String,
  rate UInt16,
  seconds UInt64,
  nanoseconds UInt32,
  u_text String,
  v_text String,
  w_text String,
  sos_text String,
  ts_text String,
  diag_text String
) ENGINE = Null;

CREATE MATERIALIZED VIEW IF NOT EXISTS sonic.incoming_to_records TO sonic.records AS
WITH
  [u_text, v_text, w_text, sos_text, ts_text] AS sent,
  arrayMap(x -> toInt32OrZero(replaceOne(x, '.', '')), sent) AS hundredths,
  arrayMap(n -> concat(n < 0 ? '-' : '', toString(intDiv(abs(n), 100)), '.',
                       substring(toString(100 + abs(n) % 100), 2)), hundredths) AS given_back,
  toUInt32OrZero(diag_text) AS number,
  toInt16(hundredths[1]) AS u_number, toInt16(hundredths[2]) AS v_number,
  toInt16(hundredths[3]) AS w_number, toUInt16(hundredths[4]) AS sos_number,
  toInt16(hundredths[5]) AS ts_number,
  given_back = sent AND toString(number) = diag_text
    AND hundredths = [u_number, v_number, w_number, toInt32(sos_number), ts_number] AS is_number
SELECT
  station, rate, seconds, nanoseconds,
  is_number ? u_number : 0 AS u100, is_number ? v_number : 0 AS v100, is_number ? w_number : 0 AS w100,
  is_number ? sos_number : 0 AS sos100, is_number ? ts_number : 0 AS ts100,
  is_number ? number : toUInt32(replaceAll(diag_text, '0', '') != '') AS diag,
  is_number ? '' : arrayStringConcat(arrayPushBack(sent, diag_text), '\t') AS texts
FROM sonic.incoming;

-- What sonic-records --half-hours prints of each half hour of a station, to the digit: compute with
-- toFloat64OrNull(ustar), which is NULL where a cell is empty. A row is that of all records that the
-- archive has of the half hour; the row of the highest version counts. `seconds` is the time of
-- `start`; `first`, `last` and `last_second` are the times of the first and last record.
CREATE TABLE IF NOT EXISTS sonic.half_hours (
  station String, seconds UInt64, version UInt64, first String, last String,
  last_second UInt64,
  start String, records String, expected String, percent String, faults String, gaps String,
  spikes String, u String, v String, w String, sos String, ts String, speed String,
  speed_scalar String, direction String, sd_direction String, gust String, cov_uu String,
  cov_uv String, cov_uw String, cov_ut String, cov_vv String, cov_vw String, cov_vt String,
  cov_ww String, cov_wt String, cov_tt String, sd_u String, sd_v String, sd_w String,
  sd_ts String, uw String, vw String, wt String, ustar String, tke String, skew_w String,
  kurt_w String, skew_ts String, kurt_ts String, steady_uw String, steady_wt String,
  itc_u String, itc_w String, flag_uw String, flag_wt String, L String, zL String
) ENGINE = ReplacingMergeTree(version)
PARTITION BY toYear(toDateTime(toUInt32(seconds), 'UTC'))
ORDER BY (station, seconds);

-- Which files are in, at which size.
CREATE TABLE IF NOT EXISTS sonic.loaded (
  station String,
  name String,
  size UInt64
) ENGINE = ReplacingMergeTree()
ORDER BY (station, name, size);
