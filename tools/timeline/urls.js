// The table of URLs: tries, wins, median time, last cause.
function showUrls(data) {
  const rows = new Map();
  for (const fetch of data.fetches) {
    for (const one of fetch.tries) {
      const key = nameOf(one);
      const row = rows.get(key) ?? {name: key, kind: fetch.kind, tries: 0, wins: 0, times: [], cause: "", at: null};
      ++row.tries;
      if (one.outcome === "taken") ++row.wins;
      if (one.end !== null && one.status) row.times.push(one.end - one.begin);
      if (["failed", "bad_status", "bad_document"].includes(one.outcome) || one.cause) {
        row.cause = one.cause || (one.outcome === "failed" ? "no answer" : one.outcome.replace("_", " ") + " " + one.status);
        row.at = one.end ?? one.begin;
      }
      rows.set(key, row);
    }
  }
  const columns = [
    ["URL", row => row.name, ""], ["for", row => row.kind === "lbs" ? "document" : row.kind === "report" ? "reports" : "HTTP DNS", ""],
    ["tries", row => row.tries, "number"], ["wins", row => row.wins, "number"],
    ["median time", row => row.times.length > 0 ? durationText(d3.median(row.times)) : "\u2013", "number"],
    ["last failure", row => row.cause ? `${row.cause}, at ${timeText(row.at).slice(0, 14)}` : "none", ""]];
  const table = d3.select("#urls table");
  table.append("thead").append("tr").selectAll("th").data(columns).enter().append("th")
    .attr("class", column => column[2]).text(column => column[0]);
  const order = {lbs: 0, hosts: 1, service: 2, report: 3};
  const sorted = [...rows.values()].sort((a, b) => order[a.kind] - order[b.kind] || b.tries - a.tries);
  table.append("tbody").selectAll("tr").data(sorted).enter().append("tr").selectAll("td")
    .data(row => columns.map(column => [column[1](row), column[2]])).enter().append("td")
    .attr("class", cell => cell[1]).text(cell => cell[0]);
}
