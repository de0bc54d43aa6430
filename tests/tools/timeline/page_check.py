#!/usr/bin/env python3
"""page_check.py PAGE EXPECTED   opens the page in a headless Chromium, as a reader does.

EXPECTED is JSON: "bars" (how many requests are drawn), "headline", "folded" (how many URLs are in the
lane of those that failed at once), "late_winners", "starts" and "exits" (how many of their lines),
"openers" (the labels of the lanes that open), "table" (a pattern for each row of the table of URLs),
"hover" (a text of the tip over a bar that failed) and "clicked" (texts of what a click on the document
shows). Prints each difference and ends with 1.
"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import urllib.request

LIMIT_S = 60  # of each command of the browser


class Browser:
    """A session of chromedriver, which speaks WebDriver on loopback."""

    def __init__(self, profile):
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
        self.url = None
        for line in self.driver.stdout:
            if found := re.search(r"started successfully on port (\d+)", line):
                self.url = f"http://127.0.0.1:{found[1]}/session"
                break
        options = {"args": ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                            "--window-size=6000,1400", f"--user-data-dir={profile}"]}
        answer = self.call("", {"capabilities": {"alwaysMatch": {
            "goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL", "performance": "ALL"}}}})
        self.url += "/" + answer["sessionId"]

    def call(self, path, body=None, method="POST"):
        data = json.dumps(body if body is not None else {}).encode() if method == "POST" else None
        request = urllib.request.Request(self.url + path, data, {"Content-Type": "application/json"}, method=method)
        with urllib.request.build_opener(urllib.request.ProxyHandler({})).open(request, timeout=LIMIT_S) as answer:
            return json.load(answer)["value"]

    def run(self, script):
        return self.call("/execute/sync", {"script": script, "args": []})

    def log(self, kind):
        return self.call("/se/log", {"type": kind})

    def element(self, css):
        return next(iter(self.call("/element", {"using": "css selector", "value": css}).values()))

    def click(self, css):
        self.call(f"/element/{self.element(css)}/click")

    def hover(self, css):
        origin = {"element-6066-11e4-a52e-4f735466cecf": self.element(css)}
        self.call("/actions", {"actions": [{"type": "pointer", "id": "mouse", "actions": [
            {"type": "pointerMove", "duration": 0, "origin": origin, "x": 0, "y": 0}]}]})

    def close(self):
        try:
            self.call("", method="DELETE")
        finally:
            self.driver.terminate()
            self.driver.wait()


def differences(browser, page, expected):
    """Yields a text for each thing on the page that isn't as expected."""
    def check(what, found, wanted):
        if found != wanted:
            yield f"{what}: {found!r} instead of {wanted!r}"

    browser.call("/url", {"url": page})
    browser.call("/execute/async", {"args": [], "script": """
        const done = arguments[0], look = () => document.body.dataset.drawnMs ? done() : setTimeout(look, 5);
        look();"""})
    yield from check("headline", browser.run("return document.getElementById('headline').textContent"), expected["headline"])
    yield from check("bars", browser.run("return document.querySelectorAll('.item.try').length"), expected["bars"])
    yield from check("late winners", browser.run("return document.querySelectorAll('#lanes .late-winner').length"), expected["late_winners"])
    for kind in ("start", "exit"):
        found = browser.run(f"return document.querySelectorAll('#lanes .life.{kind}').length")
        yield from check(f"lines of each {kind}", found, expected[kind + "s"])
    rows = browser.run("return [...document.querySelectorAll('tbody tr')].map(row => [...row.cells].map(one => one.innerText).join(' '))")
    yield from check("rows of the table", len(rows), len(expected["table"]))
    for row, pattern in zip(rows, expected["table"]):
        if not re.fullmatch(pattern, row):
            yield f"a row of the table is {row!r}, not {pattern!r}"
    yield from check("lanes that open", browser.run(
        "return [...document.querySelectorAll('.opener')].map(one => one.firstChild.data.slice(2))"), expected["openers"])
    # The lane of those that failed at once opens, and loses no bar.
    lanes = browser.run("return document.querySelectorAll('.halo').length")
    browser.click(".opener")
    yield from check("opened lanes", browser.run("return document.querySelectorAll('.halo').length") - lanes, expected["folded"])
    yield from check("bars after that", browser.run("return document.querySelectorAll('.item.try').length"), expected["bars"])
    browser.hover("#lanes .try.failed .body")
    tip = browser.run("return document.getElementById('tip').innerText")
    if expected["hover"] not in tip:
        yield f"the tip is {tip!r}, without {expected['hover']!r}"
    # The log lines have a text that a server made of markup. It is a text here.
    browser.click("#lanes .document.from-fetch .body")
    details = browser.run("return document.getElementById('details').innerText")
    for text in expected["clicked"]:
        if text not in details:
            yield f"the details are {details!r}, without {text!r}"
    yield from check("foreign elements", browser.run(
        "return document.querySelectorAll('img, iframe, object, link').length + document.scripts.length - 2"), 0)
    yield from check("foreign scripts", browser.run("return typeof window.foreign"), "undefined")
    yield from check("the console", browser.log("browser"), [])
    requests = [json.loads(entry["message"])["message"] for entry in browser.log("performance")]
    yield from check("requests", [one["params"]["request"]["url"] for one in requests
                                  if one["params"].get("documentURL") == page], [page])


def main():
    page = pathlib.Path(sys.argv[1]).resolve().as_uri()
    with tempfile.TemporaryDirectory() as profile:
        browser = Browser(profile)
        try:
            found = list(differences(browser, page, json.loads(sys.argv[2])))
        finally:
            browser.close()
    print("\n".join(found), end="")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
