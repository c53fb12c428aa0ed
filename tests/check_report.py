#!/usr/bin/env python3
"""Looks at a page of "saddlefit react --html" with a browser and holds it against the JSON.

usage: check_report.py SADDLEFIT DATA [SCREENSHOTS]
"""
import json
import math
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

program, data = sys.argv[1:3]
screenshots = Path(sys.argv[3]) if len(sys.argv) > 3 else None
EVIL = "<script>document.title = 'taken over'</script><b>&amp;</b>"
ARGUMENTS = ["--headless", "--no-sandbox", "--use-angle=swiftshader", "--enable-unsafe-swiftshader", "--disable-quic",
             "--no-first-run", "--disable-background-networking", "--disable-component-update", "--disable-sync"]
# Of the picture, as 64 x 64 points: how many are not the ground, and a number that tells pictures apart.
PICTURE = """
const small = document.createElement("canvas").getContext("2d", { willReadFrequently: true });
small.drawImage(document.querySelector("#view canvas"), 0, 0, 64, 64);
const points = new Uint32Array(small.getImageData(0, 0, 64, 64).data.buffer);
return [points.filter(point => point !== points[0]).length, points.reduce((sum, point, i) => (sum * 31 + point) % 4294967291, 7)];
"""


class Page:
    """A page in a browser of its own."""

    def __init__(self, path, width=1400, dark=False, extra=()):
        self.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for argument in [*ARGUMENTS, f"--user-data-dir={self.profile.name}", *extra]:
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=950, deviceScaleFactor=1, mobile=width < 600)
        self.scheme("dark" if dark else "light")
        start = time.monotonic()
        self.driver.get(path.as_uri())
        self.loading = time.monotonic() - start

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.driver.quit()
        self.profile.cleanup()

    def command(self, name, **arguments):
        self.driver.execute_cdp_cmd(name, arguments)

    def scheme(self, value):
        self.command("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": value}])

    def run(self, script):
        return self.driver.execute_script(script)

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def table(self, selector):
        """The texts of its cells, as they stand in the page, hidden or not."""
        rows = f"[...document.querySelectorAll('{selector} tbody tr')]"
        return self.run(f"return {rows}.map(row => [...row.cells].map(cell => cell.textContent))")

    def press(self, *keys):
        ActionChains(self.driver).send_keys(*keys).perform()

    def picture(self):
        drawn, number = self.run(PICTURE)
        assert drawn > 100, f"{drawn} points of the picture are drawn"
        return number

    def requests(self):
        """What the page asked for, itself included; the browser's own first page asks for things, too."""
        messages = [json.loads(entry["message"])["message"] for entry in self.driver.get_log("performance")]
        sent = [m["params"] for m in messages if m["method"] == "Network.requestWillBeSent"]
        return [request["request"]["url"] for request in sent if request["documentURL"] == self.driver.current_url]

    def shoot(self, name):
        if screenshots:
            self.driver.save_screenshot(str(screenshots / f"{name}.png"))


def run(*arguments):
    done = subprocess.run([program, *map(str, arguments)], capture_output=True, text=True)
    assert done.returncode in (0, 1), f"{arguments}: status {done.returncode}\n{done.stderr}"


def make_reactions(folder):
    """The example reactions, one of them with an evil title, then one that is stored and one that fails."""
    levels = Path(data)
    run("db", "add", "--force", folder / "db", *(levels / f"parents_{side}.sdf" for side in ("reactants", "products", "ts")))
    for side in ("reactants", "products"):
        queries = (levels / f"queries_{side}.sdf").read_text().replace("q-enol-propenol", EVIL)
        stored = (levels / f"parents_{side}.sdf").read_text().split("$$$$\n")[0] + "$$$$\n"
        unchanged = (levels / "parents_reactants.sdf").read_text().split("$$$$\n")[0] + "$$$$\n"
        (folder / f"{side}.sdf").write_text(queries + stored + unchanged)
    run("react", folder / "reactants.sdf", folder / "products.sdf", "--db", folder / "db", "--guesses", "3",
        "--html", folder / "page.html", "--json", folder / "answers.jsonl")
    return [json.loads(line) for line in (folder / "answers.jsonl").read_text().splitlines()]


def outcome(answer):
    return "failed" if "error" in answer else answer["outcome"]


def length(atoms, pair):
    return math.dist(*(atoms[atom - 1]["position"] for atom in pair))


def changes_in(answer):
    names = lambda pair: "–".join(f"{answer['atoms'][a - 1]['symbol']}{a}" for a in pair)
    at = lambda side, change: f"{length(answer[side]['atoms'], change['atoms']):.3f}"
    return [[names(c["atoms"]), c["role"], f"{c['before']} → {c['after']}", at("reactant", c), f"{c['length']:.3f}",
             c["source"], at("product", c), f"{c['usual']:.3f}"] for c in answer["changes"]]


def titles(page):
    return [row[1] for row in page.table("#reactions")]


def check_tables(page, answers):
    rows = page.table("#reactions")
    expected = [f"{a['expectedError']:.2f}" if a.get("expectedError") is not None else "–" for a in answers]
    assert [(int(r[0]), r[1], r[3], r[4]) for r in rows] == [
        (a["record"], a["title"], outcome(a), e) for a, e in zip(answers, expected)], rows
    for answer, row in zip(answers, page.all("#reactions tbody tr")):
        row.click()
        assert page.one("#title").text == answer["title"]
        facts = page.one("#facts").text
        if "error" in answer:
            assert answer["error"] in facts and not page.one("#picture").is_displayed()
            continue
        assert page.table("#changes") == changes_in(answer), answer["title"]
        assert all(text in facts for text in answer["warnings"] + answer["strains"]), facts
    assert page.driver.title == "reactants.sdf", "the title of a record was run as a script"


def check_picture(page, answers):
    """Each click and key changes what is drawn; so does the animation, and the colours of the system."""
    rows = page.all("#reactions tbody tr")
    rows[8].click()
    seen = {"guess": page.picture()}
    assert page.one("#view").get_attribute("data-structure") == "Guess"
    rows[9].click()
    seen["another reaction"] = page.picture()
    for button in page.all("#stills button"):
        button.click()
        seen[button.text] = page.picture()
    page.press(Keys.ARROW_LEFT)
    seen["a step to the left"] = page.picture()
    assert page.one("#view").get_attribute("data-structure") == "Guess like reactant"
    page.one("#numbers").click()
    seen["atom numbers"] = page.picture()
    page.scheme("dark")
    time.sleep(0.3)
    seen["dark"] = page.picture()
    page.scheme("light")
    still = page.picture()
    page.one("#play").click()
    patience = time.monotonic() + 20  # on a machine that has much to do
    while page.picture() == still:
        assert time.monotonic() < patience, "the animation stands still"
    page.one("#play").click()
    del seen["Guess"], seen["a step to the left"] # which were seen before
    assert len(set(seen.values())) == len(seen), f"two of these look the same: {seen}"
    assert len(page.all("canvas")) == 1, "more than one picture"


def check_list(page, answers):
    """Filters, orders and keys."""
    page.one("#words").send_keys("c-cl SN2")
    assert titles(page) == [a["title"] for a in answers if "sn2" in a["title"] and "C-Cl" in a["code"]]
    page.press(Keys.ESCAPE, Keys.ARROW_DOWN)
    assert page.one("#title").text == titles(page)[1]
    page.one("#words").clear()
    page.one("#words").send_keys(" ")
    page.one("#most").send_keys("0.07")
    error = lambda a: 0 if outcome(a) == "exact" else a.get("expectedError") or math.inf
    assert titles(page) == [a["title"] for a in answers if error(a) <= 0.07]
    page.run("document.getElementById('most').value = ''")
    for key, order in [("expected error", error), ("strain", lambda a: -len(a.get("strains", []))),
                       ("outcome", lambda a: ["exact", "partial", "none", "failed"].index(outcome(a)))]:
        Select(page.one("#order")).select_by_visible_text(key)
        assert titles(page) == [a["title"] for a in sorted(answers, key=order)], key
    page.one("#outcomes input[value=partial]").click()
    assert "partial" not in [row[3] for row in page.table("#reactions")]


def check_many(folder, answers):
    """A thousand reactions: the table and one picture."""
    lines = [json.dumps({**answers[i % 11], "record": i + 1, "title": f"reaction {i + 1}"}) for i in range(1000)]
    (folder / "many.jsonl").write_text("\n".join(lines) + "\n")
    run("report", folder / "many.jsonl")
    with Page(folder / "many.html") as page:
        assert len(page.table("#reactions")) == 1000
        page.press(Keys.END)
        assert page.one("#title").text == "reaction 1000"
        page.picture()
        assert not page.driver.get_log("browser")
        print(f"1,000 reactions: {page.loading:.1f} s until they are there")


def check_phone(path):
    with Page(path, width=390, dark=True) as page:
        page.all("#reactions tbody tr")[4].click()
        page.picture()
        wide = page.run("return document.documentElement.scrollWidth")
        assert wide <= 390, f"{wide} points wide"
        page.shoot("phone")


def check_without_webgl(path, answers):
    with Page(path, extra=["--disable-3d-apis"]) as page:
        page.all("#reactions tbody tr")[4].click()
        assert page.one("#no-view").is_displayed() and not page.all("canvas")
        assert page.table("#changes") == changes_in(answers[4])
        assert not page.driver.get_log("browser")


def main():
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        answers = make_reactions(folder)
        assert {outcome(a) for a in answers} == {"exact", "partial", "none", "failed"}
        path = folder / "page.html"
        with Page(path) as page:
            check_tables(page, answers)
            check_picture(page, answers)
            page.all("#reactions tbody tr")[9].click()
            page.shoot("light")
            check_list(page, answers)
            assert page.requests() == [path.as_uri()], "the page asks for something"
            complaints = page.driver.get_log("browser")
            assert not complaints, complaints
        check_phone(path)
        check_without_webgl(path, answers)
        check_many(folder, answers)
    print(f"{len(answers)} reactions: tables, pictures, filters, keys, phone, no WebGL")


main()
