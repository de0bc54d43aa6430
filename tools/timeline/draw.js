// Draws the lanes for the present zoom. Only what is in view has elements.
const kGutter = 210;       // px for the labels of the lanes
const kNarrow = 720;       // a narrower page has the labels above the lanes
const kTop = 54;           // px for the texts of the axis
const kRow = 20, kBar = 14, kGap = 8, kGroup = 18;
const kMinBar = 4;         // px, so that a short request can be seen and clicked
const kManyItems = 1500;   // in one view: those at one pixel are drawn once
const kMinLife = 5;        // px between two vertical lines
const kMaxSame = 6;        // points of one instant that have places of their own
const kCharPx = 6.6;

class Chart {
  constructor(data, choose, tip) {
    this.data = data;
    this.choose = choose;
    this.tip = tip;
    this.opened = new Set();
    this.isTrue = false;
    this.svg = d3.select("#lanes").append("svg");
    this.back = this.svg.append("g");
    this.front = this.svg.append("g");
    this.zoom = d3.zoom().on("zoom", () => {
      this.transform = d3.event.transform;
      this.draw();
    });
    this.transform = d3.zoomIdentity;
    this.onView = () => {};
  }

  // Sets the size and shows the end of the log, where the newest answer is.
  layOut() {
    this.axis = makeAxis(this.data, this.isTrue);
    this.width = Math.max(280, document.getElementById("lanes").clientWidth);
    this.isNarrow = this.width < kNarrow;
    this.left = this.isNarrow ? 6 : kGutter;
    this.inner = this.width - this.left - 14;
    this.base = this.inner / this.axis.length;
    const most = Math.max(200, 4 * this.axis.length / this.inner);
    this.zoom.scaleExtent([1, most * 4]).extent([[0, 0], [this.inner, 1]]).translateExtent([[0, 0], [this.inner, 1]]);
    this.makeLanes();
    const k = Math.max(1, this.axis.length / this.inner);
    this.svg.call(this.zoom).on("dblclick.zoom", null);
    this.svg.call(this.zoom.transform, d3.zoomIdentity.translate(this.inner * (1 - k), 0).scale(k));
  }

  makeLanes() {
    this.lanes = makeLanes(this.data, this.opened);
    let y = kTop;
    for (const lane of this.lanes) {
      if (lane.group && lane !== this.lanes[0]) y += kGroup;
      lane.top = y + (this.isNarrow ? 14 : 0);
      lane.height = lane.rows * kRow + kGap;
      y = lane.top + lane.height;
      let longest = 0;
      for (const item of lane.items) longest = Math.max(longest, (item.end ?? item.begin) - item.begin);
      lane.longest = longest;
    }
    this.height = y + 6;
    this.svg.attr("viewBox", `0 0 ${this.width} ${this.height}`).attr("height", this.height);
  }

  x(ms) {
    return this.left + this.transform.applyX(this.axis.at(ms) * this.base);
  }

  // The times at the left and right edge.
  view() {
    const at = px => this.axis.at.invert(this.transform.invertX(px) / this.base);
    return [at(-4), at(this.inner + 4)];
  }

  draw() {
    const [from, to] = this.view();
    this.back.selectAll("*").remove();
    this.front.selectAll("*").remove();
    this.drawAxis();
    const clip = this.front.append("clipPath").attr("id", "view");
    clip.append("rect").attr("x", this.left - 2).attr("width", this.inner + 16).attr("height", this.height);
    this.content = this.front.append("g").attr("clip-path", "url(#view)");
    this.drawLives(from, to);
    const seen = this.lanes.map(lane => this.inView(lane, from, to));
    const isCrowded = d3.sum(seen, items => items.length) > kManyItems;
    this.places = new Map();
    const links = this.content.append("g");
    seen.forEach((items, i) => this.drawItems(this.lanes[i], isCrowded ? this.thin(items) : items));
    this.drawLinks(links, seen);
    this.drawLanes();
    this.onView(this.transform);
  }

  inView(lane, from, to) {
    const begin = d3.bisector(item => item.begin).left(lane.items, from - lane.longest);
    const end = d3.bisector(item => item.begin).right(lane.items, to);
    return lane.items.slice(begin, end).filter(item => (item.end ?? item.begin) >= from);
  }

  // Leaves out what would be drawn at the same pixel as the one before.
  thin(items) {
    const last = new Map();
    return items.filter(item => {
      const kind = item.row + item.classes, x = this.x(item.begin);
      if (x - (last.get(kind) ?? -9) < 3 && this.x(item.end ?? item.begin) - x < 3) return false;
      last.set(kind, x);
      return true;
    });
  }

  drawAxis() {
    const right = this.left + this.inner;
    let free = -Infinity;
    const label = (x, text, y, name) => this.back.append("text").attr("class", name).attr("x", x).attr("y", y).text(text);
    for (const fold of this.axis.folds) {
      const [x0, x1] = [fold.from, fold.to].map(px => this.left + this.transform.applyX(px * this.base));
      if (x1 < this.left || x0 > right) continue;
      const a = Math.max(x0, this.left), b = Math.min(x1, right + 14);
      this.back.append("rect").attr("class", "fold").attr("x", a).attr("y", kTop - 22).attr("width", b - a).attr("height", this.height - kTop + 22);
      if (x1 - x0 > 12 && (x0 + x1) / 2 > this.left + 16) {
        const text = durationText(fold.end - fold.begin);
        if (x1 - x0 > text.length * 5.4) {
          label((x0 + x1) / 2, text, kTop - 26, "soft").attr("text-anchor", "middle").style("font-size", "10px");
        }
      }
    }
    for (const stretch of this.axis.stretches) {
      const x0 = this.x(stretch.begin), x1 = this.x(stretch.end);
      if (x1 < this.left || x0 > right) continue;
      const seen = Math.max(x0, this.left);
      if (seen >= free && seen < right - 50) {
        const text = timeText(stretch.begin);
        label(seen, text, 12, "soft");
        free = seen + text.length * kCharPx + 12;
      }
    }
    this.drawTicks(right);
  }

  // Marks some of the events, with the time since the begin of their stretch.
  drawTicks(right) {
    const [from, to] = this.view();
    const times = this.axis.times.slice(d3.bisectLeft(this.axis.times, from), d3.bisectRight(this.axis.times, to));
    const begins = this.axis.stretches.map(stretch => stretch.begin);
    const isWide = stretch => this.x(stretch.end) - this.x(stretch.begin) > 90;
    let free = this.left;
    for (const ms of times) {
      const x = this.x(ms);
      if (x < free || x > right) continue;
      const stretch = d3.bisectRight(begins, ms) - 1;
      if (!isWide(this.axis.stretches[stretch])) continue;
      const since = ms - begins[stretch];
      const text = since === 0 ? "0" : "+" + offsetText(since);
      this.back.append("line").attr("class", "tick").attr("x1", x).attr("x2", x).attr("y1", kTop - 22).attr("y2", this.height);
      this.back.append("text").attr("class", "soft").attr("x", x).attr("y", kTop - 26).attr("text-anchor", "middle")
        .style("font-size", "10px").text(text);
      free = x + 62;
    }
  }

  drawLanes() {
    const above = this.isNarrow ? 15 : 1;
    for (const lane of this.lanes) {
      this.back.append("line").attr("class", "border").attr("x1", lane.group ? 0 : this.left).attr("x2", this.width)
        .attr("y1", lane.top - above).attr("y2", lane.top - above);
      if (lane.group && lane !== this.lanes[0]) {
        this.front.append("text").attr("class", "group").attr("x", 2).attr("y", lane.top - above - 5).text(lane.group);
      }
      const most = Math.floor((this.isNarrow ? this.width : kGutter - 16) / kCharPx);
      const text = lane.label.length > most ? lane.label.slice(0, most - 15) + "\u2026" + lane.label.slice(-14) : lane.label;
      const label = this.front.append("text").attr("class", "halo").attr("x", 2).attr("y", this.isNarrow ? lane.top - 3 : lane.top + kRow - 3).text(text);
      label.append("title").text(lane.title ?? lane.label);
      if (lane.opens) {
        label.attr("class", "halo opener").attr("tabindex", 0).attr("role", "button");
        const toggle = () => {
          if (!this.opened.delete(lane.opens)) this.opened.add(lane.opens);
          this.makeLanes();
          this.draw();
        };
        label.on("click", toggle).on("keydown", () => { if (d3.event.key === "Enter") toggle(); });
      }
    }
  }

  // Vertical lines at each start and exit, and where a run ends without one.
  drawLives(from, to) {
    const lives = this.data.runs.flatMap(run => [
      {at: run.begin, kind: "start", text: "start"},
      run.exit !== null ? {at: run.exit, kind: "exit", text: "exit"} : {at: run.last, kind: "end", text: "last line"}]);
    lives.sort((a, b) => a.at - b.at);  // two processes in one folder may overlap
    let free = -Infinity, last = -Infinity;
    for (const life of lives.filter(one => one.at !== null && one.at >= from && one.at <= to)) {
      const x = this.x(life.at);
      if (x - last < kMinLife) continue;
      last = x;
      this.content.append("line").attr("class", "life " + life.kind).attr("x1", x).attr("x2", x).attr("y1", kTop - 18).attr("y2", this.height);
      if (x > free) {
        const atEnd = life.kind !== "start";
        this.content.append("text").attr("class", "soft").attr("x", x + (atEnd ? -3 : 3)).attr("y", kTop - 9).attr("text-anchor", atEnd ? "end" : "start")
          .style("font-size", "10px").text(life.text);
        free = x + 40;
      }
    }
  }

  drawItems(lane, items) {
    const nextAt = new Map();
    for (let i = items.length - 1; i >= 0; --i) {
      items[i].room = nextAt.get(items[i].row) ?? this.width;
      nextAt.set(items[i].row, this.x(items[i].begin));
    }
    // Draw the points of one instant side by side.
    let same = 0;
    items.forEach((item, i) => {
      same = i > 0 && item.kind !== "bar" && items[i - 1].kind !== "bar" && item.begin === items[i - 1].begin ? Math.min(same + 1, kMaxSame) : 0;
      item.shift = same * 11;
    });
    const chart = this;
    const nodes = this.content.append("g").selectAll("g").data(items).enter().append("g")
      .attr("class", item => "item " + item.classes + (item.key === this.chosen ? " chosen" : ""))
      .attr("tabindex", 0).attr("data-key", item => item.key)
      .on("mouseenter", item => this.tip.show(item.words(), d3.event))
      .on("mousemove", () => this.tip.move(d3.event)).on("mouseleave", () => this.tip.hide())
      .on("focus", function (item) { chart.tip.showAt(item.words(), this.getBoundingClientRect()); })
      .on("blur", () => this.tip.hide())
      .on("click", item => this.pick(item)).on("keydown", item => { if (d3.event.key === "Enter") this.pick(item); });
    nodes.each(function (item) {
      const y = lane.top + item.row * kRow + 4;
      const x0 = chart.x(item.begin);
      if (item.kind === "bar") {
        chart.drawBar(d3.select(this), item, x0, Math.max(chart.x(item.end), x0 + kMinBar), y);
      } else {
        chart.drawPoint(d3.select(this), item, x0 + item.shift, y + kBar / 2);
      }
    });
  }

  drawBar(node, item, x0, x1, y) {
    this.places.set(item.key, {x0, x1, silent: item.silent == null ? null : this.x(item.silent), y: y + kBar / 2});
    node.append("rect").attr("class", "body").attr("x", x0).attr("y", y).attr("width", x1 - x0).attr("height", kBar).attr("rx", 2.5);
    if (item.silent != null) {
      const x = this.x(item.silent);
      node.append("line").attr("class", "silence").attr("x1", x).attr("x2", x).attr("y1", y - 3).attr("y2", y + kBar + 3);
    }
    const seen = Math.max(x0, this.left);
    if (item.inside && Math.min(x1, this.left + this.inner) - seen > item.inside.length * kCharPx + 10) {
      node.append("text").attr("class", "on-bar").attr("x", seen + 6).attr("y", y + 11).text(item.inside);
    } else if (item.text && item.room - x1 > item.text.length * kCharPx + 8) {
      node.append("text").attr("class", "beside").attr("x", x1 + 5).attr("y", y + 11).text(item.text);
    }
  }

  drawPoint(node, item, x, y) {
    const radius = {dot: 5, ring: 8, look: 4}[item.kind];
    if (radius) {
      node.append("circle").attr("class", "body").attr("cx", x).attr("cy", y).attr("r", radius);
    } else if (item.kind === "square") {
      node.append("rect").attr("class", "body").attr("x", x - 4).attr("y", y - 4).attr("width", 8).attr("height", 8);
    } else {
      node.append("path").attr("class", "body").attr("d", `M${x},${y - 7}h1.5l8,4.5l-8,4.5v5h-1.5z`);
    }
    if (item.text && item.room - x > item.text.length * kCharPx + 16) {
      node.append("text").attr("class", "beside").attr("x", x + 11).attr("y", y + 4).text(item.text);
    }
  }

  // Lines from the silence or the failure of a request to the one that it started.
  drawLinks(links, seen) {
    for (const item of seen.flat()) {
      const from = item.startedBy && this.places.get(item.startedBy), to = this.places.get(item.key);
      if (!from || !to) continue;
      const isSilence = item.startedBecause === "silence";
      const x = isSilence && from.silent !== null ? from.silent : from.x1;
      const end = Math.max(to.x0, x);
      links.append("path").attr("class", "link" + (isSilence ? " silence-link" : "")).attr("d", `M${x},${from.y}V${to.y}H${end}`);
    }
  }

  pick(item) {
    this.chosen = item.key;
    this.front.selectAll(".chosen").classed("chosen", false);
    this.front.selectAll(".item").filter(one => one.key === item.key).classed("chosen", true);
    this.choose(item);
  }
}
