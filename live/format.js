'use strict';
// Numbers, times and ages as people read them.

const MISSING = '–';

/// With two decimals, as the instrument writes its values, or more if it wrote more.
function formatValue(number) {
  if (!Number.isFinite(number)) return MISSING;
  const text = String(number);
  return (text.split('.')[1] || '').length > 2 ? text : number.toFixed(2);
}

/// 2026-01-31 12:34:56.031, from seconds since 1970.
function formatTime(seconds) {
  return new Date(Math.round(seconds * 1000)).toISOString().replace('T', ' ').replace('Z', '');
}

/// 12:34:56
function formatClock(seconds) {
  return formatTime(seconds).slice(11, 19);
}

/// 3.531 s
function formatSpan(seconds) {
  return `${Number(seconds.toFixed(3))} s`;
}

/// 14 s, 3 min 5 s, 2 h 10 min, 5 d 3 h
function formatAge(milliseconds) {
  const seconds = Math.max(0, Math.floor(milliseconds / 1000));
  if (seconds < 60) return `${seconds} s`;
  if (seconds < 3600) return `${Math.floor(seconds / 60)} min ${seconds % 60} s`;
  if (seconds < 86400) return `${Math.floor(seconds / 3600)} h ${Math.floor(seconds / 60) % 60} min`;
  return `${Math.floor(seconds / 86400)} d ${Math.floor(seconds / 3600) % 24} h`;
}
