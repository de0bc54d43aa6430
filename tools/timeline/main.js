const data = JSON.parse(document.getElementById("data").textContent);
d3.select("#about").text(data.about);
d3.select("#headline").text(data.headline);
d3.select("#reasons").selectAll("li").data(data.reasons).enter().append("li").text(line => line);
showLegend(data);
const chart = new Chart(data, item => showDetails(data, item), new Tip());
function layOut() {
  d3.select("#overview").attr("hidden", true).html(null);
  chart.onView = () => {};
  chart.layOut();
  makeOverview(chart);
}
layOut();
showUrls(data);
d3.select("#close").on("click", () => d3.select("#details").attr("hidden", true));
d3.select("#true-scale").on("change", function () {
  chart.isTrue = this.checked;
  layOut();
});
let known = window.innerWidth;
window.addEventListener("resize", () => {
  if (window.innerWidth === known) return;
  known = window.innerWidth;
  layOut();
});
// The benchmark reads how long all of this took, from the begin of loading: first with the layout,
// then, if the page lives for so long, with the first frame.
function noteTime() {
  document.body.dataset.drawnMs = String(Math.round(performance.now()));
}
document.body.getBoundingClientRect();
noteTime();
requestAnimationFrame(() => setTimeout(noteTime));
