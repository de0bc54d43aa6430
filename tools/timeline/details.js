// The tip under the pointer, and the box with the log lines of what was clicked.
class Tip {
  constructor() {
    this.box = d3.select("#tip");
  }

  show(words, event) {
    this.box.html(null).attr("hidden", null);
    for (const line of [words.title].concat(words.lines)) this.box.append("p").text(line);
    this.move(event);
  }

  showAt(words, place) {
    this.show(words, {clientX: place.right, clientY: place.bottom});
  }

  move(event) {
    const box = this.box.node().getBoundingClientRect();
    const x = Math.min(event.clientX + 14, window.innerWidth - box.width - 8);
    const below = event.clientY + 18;
    const y = below + box.height < window.innerHeight ? below : event.clientY - box.height - 12;
    this.box.style("left", Math.max(4, x) + "px").style("top", Math.max(4, y) + "px");
  }

  hide() {
    this.box.attr("hidden", true);
  }
}

function showDetails(data, item) {
  const box = d3.select("#details").attr("hidden", null);
  const words = item.words();
  box.select("h2").text(words.title);
  const list = box.select("ul").html(null);
  for (const line of words.lines) list.append("li").text(line);
  const lines = [...new Set(item.messages)].sort((a, b) => a - b).map(i => data.messages[i] ?? "");
  box.select("pre").text(lines.join("").replace(/\n+$/, "") || "The log has no line about it.");
  box.node().scrollIntoView({block: "nearest"});
}
