// The lanes of the chart, from top to bottom. An item is a bar (with `end`) or a point:
//   {key, kind, begin, end, row, classes, text, words, messages}
const kAtOnceMs = 1000;  // a failure within this time is one "at once"
const kMaxLanes = 14;    // of one group; the URLs after it share a lane
const kMaxRows = 5;      // of one lane

function pointLane(id, group, label, items) {
  return {id, group, label, rows: 1, items};
}

function answerLane(data) {
  const items = data.answers.map((one, i) => ({
    key: "answer" + i, kind: one.default ? "square" : "dot", begin: one.at, row: 0, text: one.address,
    classes: "answer" + (one.default ? " default" : ""), words: () => answerWords(data, one), messages: [one.message]}));
  const holds = data.holds.map((one, i) => ({
    key: "hold" + i, kind: "ring", begin: one.at, row: 0, text: "", classes: "hold",
    words: () => ({title: (one.found ? "The client holds " : "The client can't hold ") + one.address,
                   lines: [`at ${timeText(one.at)}`, one.words]}),
    messages: [one.message]}));
  return pointLane("answers", "Client", "answers", items.concat(holds).sort((a, b) => a.begin - b.begin));
}

// Gives overlapping items, and those less than `gap` ms apart, rows of their own.
function pack(lane, gap = 1) {
  lane.items.sort((a, b) => a.begin - b.begin);
  const ends = [];
  for (const item of lane.items) {
    let row = ends.findIndex(end => end + gap <= item.begin);
    if (row < 0) row = Math.min(ends.length, kMaxRows - 1);
    ends[row] = Math.max(ends[row] ?? 0, item.end ?? item.begin);
    item.row = row;
  }
  lane.rows = Math.max(1, ends.length);
  return lane;
}

function documentLane(data, end) {
  const nextOf = new Map(), ofRun = new Map();
  for (const one of [...data.documents].reverse()) {
    nextOf.set(one, ofRun.get(one.run));
    ofRun.set(one.run, one);
  }
  const items = data.documents.map((one, i) => {
    const next = nextOf.get(one);
    const run = data.runs[one.run];
    const until = next ? next.at : run ? run.exit ?? run.last : end;
    const origin = one.from === "cache" && one.age !== null ? `cache, ${durationText(one.age)} old`
      : one.from === "fetch" ? "fetch" : one.from || "unknown";
    return {key: "document" + i, kind: "bar", begin: one.at, end: Math.max(until, one.at), row: 0, inside: origin,
            text: "", classes: "document from-" + (one.from || "unknown"), words: () => documentWords(data, one),
            messages: [one.message]};
  });
  // Two processes in one folder have a document each.
  return pack({id: "documents", group: "", label: "active document", items}, 0);
}

function askLane(data) {
  const short = {third_default: "third default", default_timer: "defaults", other: "?"};
  const items = data.asks.map((one, i) => ({
    key: "ask" + i, kind: "flag", begin: one.at, row: 0, text: short[one.because] ?? one.because,
    classes: "ask" + (one.fate === "fetched" ? "" : " idle"), words: () => askWords(data, one),
    messages: [one.message].concat(one.fetch === null ? [] : data.fetches[one.fetch].messages)}));
  return pointLane("asks", "", "fetch asked for", items);
}

function tryItem(data, f, t) {
  const fetch = data.fetches[f], one = fetch.tries[t];
  const run = data.runs[fetch.run];
  const isWinner = one.outcome === "taken" && one.silent !== null;
  const classes = ["try", one.outcome, one.silent !== null && !isWinner ? "passed-over" : "",
                   isWinner ? "late-winner" : "", one.unsure ? "unsure" : ""];
  return {key: `try${f}-${t}`, kind: "bar", begin: one.begin, silent: one.silent,
          end: one.end ?? Math.max(lastOf(one), one.outcome === "under_way" && run ? run.last : one.begin),
          row: 0, classes: classes.filter(c => c).join(" "), text: one.cause || (one.status ? String(one.status) : ""),
          words: () => tryWords(data, fetch, one), messages: one.messages, startedBy: one.startedBy === null ? null :
          `try${f}-${one.startedBy}`, startedBecause: one.startedBecause, failedAtOnce: one.outcome === "failed" &&
          one.end !== null && one.end - one.begin <= kAtOnceMs, index: one.index, name: nameOf(one)};
}

// Returns lanes as one that opens, or with that one before them if it is open.
function share(key, lanes, label, opened) {
  if (lanes.length < 2) return lanes;
  const isOpen = opened.has(key);
  const head = {id: key, group: "", label: (isOpen ? "\u25be " : "\u25b8 ") + label(lanes.length), opens: key,
                items: isOpen ? [] : lanes.flatMap(lane => lane.items.map(item => ({...item})))};
  return isOpen ? [pack(head)].concat(lanes) : [pack(head)];
}

// One lane a URL. URLs that only ever failed at once share a lane, unless it is open.
function tryLanes(id, group, items, opened) {
  const byName = d3.nest().key(item => item.name).entries(items)
    .map(({key, values}) => ({id: `${id} ${key}`, group: "", label: key.replace(/^https?:\/\//, ""), title: key, items: values,
                              index: d3.min(values, item => item.index), atOnce: values.every(item => item.failedAtOnce)}))
    .map(lane => pack(lane));
  byName.sort((a, b) => a.index - b.index);
  const others = byName.filter(lane => !lane.atOnce);
  const lanes = share(`${id} once`, byName.filter(lane => lane.atOnce), n => `${n} URLs failed at once`, opened)
    .concat(others.slice(0, kMaxLanes), share(`${id} more`, others.slice(kMaxLanes), n => `${n} more URLs`, opened));
  if (lanes.length > 0) lanes[0].group = group;
  return lanes;
}

// The lifetime of each host of HTTP DNS: fresh for three quarters of it, then served and refreshed,
// and gone after nine tenths. The service's own endpoints are used for all of it.
function leaseLanes(data, opened) {
  const byHost = d3.nest().key(one => one.host).object(data.leases);
  const looks = d3.nest().key(one => one.host).object(data.looks);
  const hosts = [...new Set(Object.keys(byHost).concat(Object.keys(looks)))];
  const lanes = hosts.map(key => ({key, values: byHost[key] ?? []})).map(({key, values}) => ({
    id: "lease " + key, group: "", label: key || "endpoints", rows: looks[key] ? 2 : 1,
    items: values.flatMap((one, i) => {
      const run = data.runs[one.run];
      const last = Math.min(values[i + 1]?.at ?? Infinity, run ? run.exit ?? run.last : Infinity);
      const steps = key ? [["fresh", 0, 0.75], ["stale", 0.75, 0.9], ["gone", 0.9, Infinity]] : [["fresh", 0, 1], ["gone", 1, Infinity]];
      return steps.map(([state, from, to]) => ({
        key: `lease ${key} ${i} ${state}`, kind: "bar", begin: one.at + (from ? from * one.ttl : 0),
        end: Math.min(last, one.at + to * Math.max(one.ttl, 1)), row: 0, classes: "lease " + state, inside: state, text: "",
        words: () => leaseWords(data, one), messages: [one.message]})).filter(item => item.begin < item.end || item.classes === "lease fresh");
    }).concat((looks[key] ?? []).map((one, i) => ({
      key: `look ${key} ${i}`, kind: "look", begin: one.at, row: 1, classes: "look look-" + one.state, text: "",
      words: () => lookWords(data, one), messages: [one.message]}))).sort((a, b) => a.begin - b.begin)}));
  return lanes.slice(0, kMaxLanes).concat(share("lease more", lanes.slice(kMaxLanes), n => `${n} more hosts`, opened));
}

function makeLanes(data, opened) {
  const end = d3.max(data.runs, run => run.last) ?? 0;
  const first = [], second = [], dns = [], reports = [];
  data.fetches.forEach((fetch, f) => fetch.tries.forEach((one, t) => {
    const list = fetch.kind === "report" ? reports : fetch.kind !== "lbs" ? dns : one.pass === 2 ? second : first;
    list.push(tryItem(data, f, t));
  }));
  const leases = leaseLanes(data, opened);
  if (leases.length > 0) leases[0].group = "HTTP DNS";
  const lanes = [answerLane(data), documentLane(data, end), askLane(data),
    ...tryLanes("first", "Requests to LBS URLs", first, opened),
    ...tryLanes("second", "Second pass", second, opened),
    ...leases, ...tryLanes("dns", leases.length > 0 ? "" : "HTTP DNS", dns, opened),
    ...tryLanes("report", "Reports", reports, opened)];
  return lanes;
}
