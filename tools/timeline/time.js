// Texts of times and durations. Times are ms since the begin of the log's first year; the log has no
// year, so a leap year gives every text its place.
const kBegin = Date.UTC(2000, 0, 1);

function isoText(ms) {
  return new Date(kBegin + ms).toISOString();
}

// "03-14 14:02:09.123", as in the log: it may be of several days.
function timeText(ms) {
  return isoText(ms).slice(5, 23).replace("T", " ");
}

function durationText(ms) {
  const units = [[86400000, "d"], [3600000, "h"], [60000, "min"], [1000, "s"]];
  for (const [size, name] of units) {
    if (ms >= size) {
      const value = ms / size;
      return (value < 10 ? value.toFixed(1).replace(/\.0$/, "") : Math.round(value)) + " " + name;
    }
  }
  return Math.round(ms) + " ms";
}

// A time since another, to the ms: "3 ms", "2.003 s".
function offsetText(ms) {
  return ms < 1000 ? ms + " ms" : ms < 600000 ? (ms / 1000).toFixed(3) + " s" : durationText(ms);
}
