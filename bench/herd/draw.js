// Draws the pictures of docs/herd.md from `results`, the JSON of the herd by scenario.
"use strict";
const kWidth = 900, kLeft = 90, kTop = 46;
const kBad = "#b5483a";

function addPicture(title, height) {
  const svg = d3.select("body").append("svg").attr("width", kWidth).attr("height", height);
  svg.append("text").attr("x", 10).attr("y", 18).attr("font-weight", "bold").text(title);
  return svg;
}

// One cell for each run of a sweep of two values: the seconds until 99 % have found a server, or
// the share that did.
function drawMap(name, title, xOf, xTitle, yTitle) {
  const points = results[name].map(one => ({
    x: xOf(+one.swept[0]), y: +one.swept[1] / 1000,
    seconds: one.recovered_s["99"][0], found: one.found_share[0]}));
  const xs = [...new Set(points.map(p => p.x))], ys = [...new Set(points.map(p => p.y))];
  const svg = addPicture(title, kTop + ys.length * 26 + 50);
  const x = d3.scaleBand().domain(xs).range([kLeft, kWidth - 20]).padding(0.04);
  const y = d3.scaleBand().domain(ys.reverse()).range([kTop, kTop + ys.length * 26]).padding(0.08);
  const cell = svg.selectAll("g").data(points).enter().append("g")
    .attr("transform", p => `translate(${x(p.x)},${y(p.y)})`);
  cell.append("rect").attr("width", x.bandwidth()).attr("height", y.bandwidth())
    .attr("fill", p => p.seconds < 0 ? kBad : d3.interpolateRgb("#4fa873", "#dce9c8")(p.seconds / 400));
  cell.append("text").attr("x", x.bandwidth() / 2).attr("y", y.bandwidth() / 2 + 4)
    .attr("text-anchor", "middle").attr("fill", p => p.seconds < 0 ? "#fff" : "#000")
    .text(p => p.seconds < 0 ? `never: ${(p.found * 100).toFixed(0)} %` : `${p.seconds.toFixed(0)} s`);
  svg.append("g").attr("transform", `translate(0,${y.range()[1]})`).call(d3.axisBottom(x));
  svg.append("g").attr("transform", `translate(${kLeft},0)`).call(d3.axisLeft(y));
  svg.append("text").attr("x", (kLeft + kWidth) / 2).attr("y", y.range()[1] + 38)
    .attr("text-anchor", "middle").text(xTitle);
  svg.append("text").attr("x", 10).attr("y", kTop - 8).text(yTitle);
}

// The share of the clients that has found a server, against the time.
function drawCurves(names, title) {
  const svg = addPicture(title, 300);
  const x = d3.scaleLinear().domain([0, 200]).range([kLeft, kWidth - 20]);
  const y = d3.scaleLinear().domain([0, 1]).range([260, kTop]);
  const colour = d3.scaleOrdinal(d3.schemeDark2);
  names.forEach((name, i) => {
    const one = results[name];
    let sum = 0;
    const line = one.found.slice(0, Math.min(2000, one.seconds * 10)).map((n, bin) => [bin / 10, (sum += n) / one.wanted]);
    svg.append("path").attr("fill", "none").attr("stroke", colour(i)).attr("stroke-width", 2)
      .attr("d", d3.line().x(p => x(p[0])).y(p => y(p[1]))(line.filter((p, bin) => bin % 5 === 0)));
    svg.append("text").attr("x", 600).attr("y", 130 + i * 17).attr("fill", colour(i)).text(name);
  });
  svg.append("g").attr("transform", "translate(0,260)").call(d3.axisBottom(x));
  svg.append("g").attr("transform", `translate(${kLeft},0)`).call(d3.axisLeft(y).ticks(5, "%"));
  svg.append("text").attr("x", kWidth / 2).attr("y", 294).text("seconds");
}

// What arrives at each server of a name, per 100 ms, as a share of the clients.
function drawArrivals(name, prefix, title) {
  const one = results[name];
  const servers = one.servers.filter(server => server.name.startsWith(prefix));
  const svg = addPicture(title, 220);
  const x = d3.scaleLinear().domain([0, one.seconds]).range([kLeft, kWidth - 20]);
  const most = d3.max(servers, server => d3.max(server.arrivals)) / one.clients;
  const y = d3.scaleLinear().domain([0, most]).nice().range([180, kTop]);
  const colour = d3.scaleOrdinal(d3.schemeDark2);
  servers.forEach((server, i) => {
    svg.append("path").attr("fill", "none").attr("stroke", colour(i))
      .attr("d", d3.line().x((n, bin) => x(bin / 10)).y(n => y(n / one.clients))(server.arrivals));
    svg.append("text").attr("x", 780).attr("y", 60 + i * 17).attr("fill", colour(i)).text(server.name);
  });
  svg.append("g").attr("transform", "translate(0,180)").call(d3.axisBottom(x));
  svg.append("g").attr("transform", `translate(${kLeft},0)`).call(d3.axisLeft(y).ticks(4, ".1%"));
  svg.append("text").attr("x", kWidth / 2).attr("y", 214).text("seconds");
}

if (location.hash === "#maps") {
  drawMap("sweep_rate_and_pause", "Queues without limit: 99 % have a server after ..., or never: the share that does", rate => (1e6 / rate).toFixed(0), "clients per answer per second of the first URL", "longest pause, s");
  drawMap("sweep_queue_and_pause", "Limited queues: the same", queue => queue / 10000, "seconds of work that the queue of each LBS server holds", "longest pause, s");
} else {
  drawCurves(["link_servers_die", "link_servers_die_ask_again", "link_servers_die_pause_each", "link_servers_die_endless", "link_servers_die_endless_ask_again", "link_servers_die_endless_long_pause"], "Clients that have found a server after all link servers died");
  drawArrivals("http_dns_dies", "dns", "Arrivals at HTTP DNS, which is dead for 200 s, in 100 ms as a share of the clients");
}
