-- The archive over several servers: on each of them, after schema.sql, when shards.xml names them
-- all. The tables of sonic_all hold nothing; they pass on to the tables of sonic on each server.

CREATE DATABASE IF NOT EXISTS sonic_all;

-- A station's day is on one server: equal records always meet there, half hours are computed there,
-- and the days of a month are read from all servers at once.
CREATE TABLE IF NOT EXISTS sonic_all.records AS sonic.records
ENGINE = Distributed(sonic, sonic, records, cityHash64(station, intDiv(seconds, 86400)));

CREATE TABLE IF NOT EXISTS sonic_all.loaded AS sonic.loaded
ENGINE = Distributed(sonic, sonic, loaded, cityHash64(station, name));
