// One sample of each mark that the chart has.
function showLegend(data) {
  const outcomes = new Set(data.fetches.flatMap(fetch => fetch.tries.map(one => one.outcome)));
  const words = {taken: "answer taken", bad_status: "bad status", bad_document: "bad document", failed: "failed",
                 late: "too late", dropped: "dropped", under_way: "under way"};
  const bar = name => svg => svg.append("g").attr("class", name).append("rect").attr("class", "body")
    .attr("x", 2).attr("y", 2).attr("width", 18).attr("height", 10).attr("rx", 2.5);
  const samples = Object.entries(words).filter(([name]) => outcomes.has(name)).map(([name, text]) => [text, bar(name)]);
  const tries = data.fetches.flatMap(fetch => fetch.tries);
  if (tries.some(one => one.silent !== null)) {
    samples.push(["passed over at the mark, after 2 s of silence", svg => {
      bar("late passed-over")(svg);
      svg.append("line").attr("class", "silence").attr("x1", 14).attr("x2", 14).attr("y1", 0).attr("y2", 14);
    }]);
  }
  if (tries.some(one => one.silent !== null && one.outcome === "taken")) {
    samples.push(["taken although late", bar("item taken late-winner")]);
  }
  if (tries.some(one => one.unsure)) samples.push(["another request fits its log lines too", bar("unsure dropped")]);
  const dot = (name, add) => svg => add(svg.append("g").attr("class", name)).attr("class", "body");
  if (data.answers.some(one => !one.default)) {
    samples.push(["address from the list", dot("answer", g => g.append("circle").attr("cx", 11).attr("cy", 7).attr("r", 5))]);
  }
  if (data.answers.some(one => one.default)) {
    samples.push(["default address", dot("answer default", g => g.append("rect").attr("x", 7).attr("y", 3).attr("width", 8).attr("height", 8))]);
  }
  if (data.holds.length > 0) {
    samples.push(["hold by the client", dot("hold", g => g.append("circle").attr("cx", 11).attr("cy", 7).attr("r", 6))]);
  }
  const origins = {fetch: "document from a fetch", cache: "from the cache", settings: "from the settings"};
  for (const [from, text] of Object.entries(origins)) {
    if (data.documents.some(one => one.from === from)) samples.push([text, bar("from-" + from)]);
  }
  const states = new Set(leaseLanes(data, new Set()).flatMap(lane => lane.items.map(item => item.inside)));
  for (const [state, text] of [["fresh", "host of HTTP DNS: fresh"], ["stale", "stale, served"], ["gone", "gone"]]) {
    if (states.has(state)) samples.push([text, bar(state)]);
  }
  if (data.looks.length > 0) {
    samples.push(["look into its cache (red: not there)", dot("look look-missing", g => g.append("circle").attr("cx", 11).attr("cy", 7).attr("r", 4))]);
  }
  if (makeAxis(data, false).folds.length > 0) samples.push(["idle time, folded", svg => svg.append("rect").attr("class", "fold").attr("width", 22).attr("height", 14)]);
  d3.select("#legend").selectAll("li").data(samples).enter().append("li").each(function ([text, draw]) {
    draw(d3.select(this).append("svg").attr("width", 22).attr("height", 14));
    d3.select(this).append("span").text(text);
  });
}
