// What the page says of a thing on it: a title and lines.
const kFate = {
  under_way: "dropped: another fetch was under way", too_soon: "dropped: too soon after a fetch for defaults",
  no_url: "nothing sent: no URL is of the family",
};
const kKind = {lbs: "fetch of the document", service: "update of the HTTP DNS endpoints",
               hosts: "query of HTTP DNS for hosts", report: "report of failures"};

// The URL, in a second pass with the name that was presented there.
function nameOf(one) {
  return one.url + (one.pass === 2 && one.host ? " as " + one.host : "");
}

function tryWords(data, fetch, one) {
  const by = one.startedBy === null ? "the one before" : "URL " + fetch.tries[one.startedBy].index;
  const because = one.startedBecause === "silence" ? `, because ${by} was silent`
    : one.startedBecause === "failure" ? `, because ${by} failed` : ", the first of its request";
  return {title: nameOf(one), lines: [one.words + ".", `Asked at ${timeText(one.begin)}${because}.`,
    `Request: ${kKind[fetch.kind]}${one.pass === 2 ? ", second pass" : ""}, sent because ${fetch.because}.`]};
}

// "no default", "1 default: a:1", "9 defaults: a:1, ..."
function listText(all, name) {
  const most = 8;
  if (all.length === 0) return "no " + name;
  return countText(all.length, name) + ": " + all.slice(0, most).join(", ") + (all.length > most ? " ..." : "");
}

function countText(count, name) {
  return `${count} ${name}${count === 1 ? "" : "s"}`;
}

function documentWords(data, one) {
  const lines = [`active from ${timeText(one.at)}`];
  if (one.from === "fetch" && one.fetch !== null) {
    const fetch = data.fetches[one.fetch];
    if (fetch.taken !== null) lines.push("sent by " + nameOf(fetch.tries[fetch.taken]));
  }
  if (one.from === "cache") {
    lines.push(one.age === null ? "an earlier start made it" : `fetched ${durationText(one.age)} before`);
  }
  if (one.refusal) lines.push(`the settings count, since ${one.refusal}`);
  lines.push(listText(one.links, "link server"), listText(one.defaults, "default"));
  return {title: "Document " + documentOrigin(one), lines};
}

function documentOrigin(one) {
  return {fetch: "from a fetch", cache: "from the cache", settings: "from the settings"}[one.from] ?? "of unknown origin";
}

function answerWords(data, one) {
  const lines = [one.default ? "a default" : "from the list", `at ${timeText(one.at)}`];
  if (one.document !== null) lines.push("document " + documentOrigin(data.documents[one.document]));
  return {title: "The client got " + one.address, lines};
}

function askWords(data, one) {
  const lines = [`at ${timeText(one.at)}` + (one.number === null ? "" : `, number ${one.number}`)];
  if (kFate[one.fate]) lines.push(kFate[one.fate]);
  if (one.fetch !== null) {
    const fetch = data.fetches[one.fetch];
    lines.push(`${countText(fetch.tries.length, "request")}, ${fetch.outcome.replace("_", " ")}`);
  }
  return {title: "A fetch was asked for because " + one.words, lines};
}

function leaseWords(data, one) {
  return {title: one.host || "Endpoints of HTTP DNS",
          lines: [`answered at ${timeText(one.at)}`, `lifetime ${durationText(one.ttl)}`,
                  one.addresses.length > 0 ? one.addresses.join(", ") : "no address"]};
}

function lookWords(data, one) {
  const words = {fresh: "fresh", stale: "stale: served, and refreshed in the background", missing: "not known, or gone"};
  return {title: "The cache of HTTP DNS was asked for " + one.host,
          lines: [`at ${timeText(one.at)}`, words[one.state], one.addresses.join(", ")].filter(line => line)};
}
