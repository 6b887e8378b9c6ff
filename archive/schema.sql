-- The archive of one server: records of all stations, and what has been loaded.
-- On each server once: clickhouse-client --multiquery <schema.sql

CREATE DATABASE IF NOT EXISTS sonic;

-- Values stay the text that the instrument sent, so that "-0.00" and "21.50" come back as they
-- were; they take no more room on disk than numbers, since both compress to the digits that change.
-- Queries compute with toFloat64(u).
--
-- The whole record is the key, and equal records become one. So a file may be loaded twice, in
-- pieces or in any order; and where a clock was put back, two records with the same stamp and
-- different values both stay. Equal records meet only when the server merges parts, some time after
-- loading: a query says FINAL to see each once at any moment.
CREATE TABLE IF NOT EXISTS sonic.records (
  station String,
  seconds UInt64,
  nanoseconds UInt32,
  u String,
  v String,
  w String,
  sos String,
  ts String,
  diag String
) ENGINE = ReplacingMergeTree
PARTITION BY toYYYYMM(toDateTime(seconds, 'UTC'))
PRIMARY KEY (station, seconds)
ORDER BY (station, seconds, nanoseconds, u, v, w, sos, ts, diag);

-- Which files are in, at which size, for sonic-load.
CREATE TABLE IF NOT EXISTS sonic.loaded (
  station String,
  name String,
  size UInt64
) ENGINE = ReplacingMergeTree
ORDER BY (station, name, size);
