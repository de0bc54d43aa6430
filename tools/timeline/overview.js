// The strip above the chart: where the work is in the whole log, and which part the chart shows.
const kStrip = 34;

function makeOverview(chart) {
  if (chart.axis.length <= chart.inner * 1.05) return;
  const box = d3.select("#overview").attr("hidden", null);
  const scale = chart.inner / chart.axis.length;
  const left = chart.left;
  const bins = new Array(Math.ceil(chart.inner / 3) + 1).fill(null).map(() => ({good: 0, bad: 0}));
  for (const fetch of chart.data.fetches) {
    for (const one of fetch.tries) {
      const bin = bins[Math.floor(chart.axis.at(one.begin) * scale / 3)];
      if (one.outcome === "taken") ++bin.good; else ++bin.bad;
    }
  }
  const most = Math.max(1, d3.max(bins, bin => bin.good + bin.bad));
  const height = n => Math.sqrt(n / most) * kStrip;
  const svg = box.append("svg").attr("viewBox", `0 0 ${chart.width} ${kStrip + 2}`).attr("height", kStrip + 2);
  svg.append("text").attr("class", "soft").attr("x", 2).attr("y", 22).text(chart.isNarrow ? "" : "whole log, folded");
  bins.forEach((bin, i) => {
    const all = height(bin.good + bin.bad), bad = all * bin.bad / Math.max(1, bin.good + bin.bad);
    const bar = (name, h, y) => h > 0 && svg.append("rect").attr("class", name).attr("x", left + i * 3).attr("width", 2.4)
      .attr("height", h).attr("y", y);
    bar("density", all - bad, kStrip - all + bad);
    bar("density bad", bad, kStrip - all);
  });
  // The brush moves the chart, and the chart the brush.
  const brush = d3.brushX().extent([[left, 0], [left + chart.inner, kStrip + 2]]).on("brush end", () => {
    if (!d3.event.sourceEvent || d3.event.sourceEvent.type === "zoom" || !d3.event.selection) return;
    const [a, b] = d3.event.selection.map(x => x - left);
    const k = chart.inner / Math.max(b - a, 1);
    chart.svg.call(chart.zoom.transform, d3.zoomIdentity.scale(k).translate(-a, 0));
  });
  const strip = svg.append("g").call(brush);
  chart.onView = transform => {
    const range = [0, chart.inner].map(px => left + transform.invertX(px));
    if (!d3.event || d3.event.type !== "brush") brush.move(strip, range);
  };
  chart.onView(chart.transform);
}
