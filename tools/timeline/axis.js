// The time axis. Idle time, in which no request is in flight, is folded. Between events, the axis
// either keeps its scale (`isTrue`) or is stretched where much happens: a fetch whose first URL is
// silent for 2 s does all the rest in some ms.
const kFoldMs = 700;      // idle for longer: folded
const kFoldWidth = 34;    // all widths are px at zoom 1
const kPad = 26;          // before the first and after the last event of a stretch

// The last time that is known of a try.
function lastOf(one) {
  return Math.max(one.begin, one.silent ?? one.begin, one.end ?? one.begin);
}

// Returns the times of all events, sorted, each once.
function eventTimes(data) {
  const times = new Set();
  for (const list of [data.asks, data.answers, data.documents, data.holds, data.leases, data.looks]) {
    for (const one of list) times.add(one.at);
  }
  for (const run of data.runs) {
    for (const at of [run.begin, run.exit, run.last]) times.add(at);
  }
  for (const fetch of data.fetches) {
    for (const one of fetch.tries) {
      for (const at of [one.begin, one.silent, one.end]) times.add(at);
    }
  }
  times.delete(null);
  return times.size > 0 ? [...times].sort((a, b) => a - b) : [0];
}

// Returns a test of whether a request is in flight for all of a time between two events. Ask with
// rising times.
function flights(data) {
  const tries = data.fetches.flatMap(fetch => fetch.tries).sort((a, b) => a.begin - b.begin);
  let next = 0, last = -Infinity;
  return (from, to) => {
    for (; next < tries.length && tries[next].begin <= from; ++next) last = Math.max(last, lastOf(tries[next]));
    return last >= to;
  };
}

function stretchedWidth(ms) {
  return 6 + 9 * Math.log2(1 + ms);
}

// Returns {stretches, folds, times, length, at}. A stretch is a time with work, a fold the idle time
// between two of them. `at` maps ms to px at zoom 1.
function makeAxis(data, isTrue) {
  const times = eventTimes(data), isInFlight = flights(data);
  const range = [kPad], stretches = [{begin: times[0], end: times[0], from: 0, to: 2 * kPad}], folds = [];
  for (let i = 1; i < times.length; ++i) {
    const gap = times[i] - times[i - 1], x = range[i - 1];
    let stretch = stretches[stretches.length - 1];
    if (gap > kFoldMs && !isInFlight(times[i - 1], times[i])) {
      const fold = {begin: times[i - 1], end: times[i], from: x + kPad, to: x + kPad + kFoldWidth};
      folds.push(fold);
      range.push(fold.to + kPad);
      stretch = {begin: times[i], from: fold.to};
      stretches.push(stretch);
    } else {
      range.push(x + (isTrue ? gap * 0.15 : stretchedWidth(gap)));
    }
    stretch.end = times[i];
    stretch.to = range[i] + kPad;
  }
  const domain = times.length > 1 ? times : [times[0], times[0] + 1];
  if (times.length === 1) range.push(kPad + 1);
  return {stretches, folds, times, length: range[range.length - 1] + kPad, at: d3.scaleLinear().domain(domain).range(range).clamp(true)};
}
