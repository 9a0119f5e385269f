"""Opens the page in a browser and does with it what people do, then what nobody should: run.py PROGRAMS FOLDER [PATTERN].
To be started by scripts/page-test, in namespaces of its own. Exit status: 0 when all passed."""

import re
import signal
import sys
import time
import traceback
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from browser import Browser
from hostile import ATTACKS
from plant import Plant, open_network
from scenarios import EXPECTED, SCENARIOS

LIMIT_S = 40  # for each


def too_long(*_):
    raise TimeoutError(f"not done within {LIMIT_S} s")


def attempt(name, act):
    started = time.monotonic()
    signal.alarm(LIMIT_S)
    try:
        act()
        signal.alarm(0)
    except Exception:  # whatever it is, the next one is tried
        signal.alarm(0)
        print(f"FAIL  {name}", flush=True)
        traceback.print_exc(limit=-3)
        return False
    print(f"ok    {name} ({time.monotonic() - started:.1f} s)", flush=True)
    return True


class Run:
    def __init__(self, programs, folder):
        self.programs = programs
        self.folder = Path(folder)
        self.plants = []

    def make(self, helper, points=None):
        self.plants.append(Plant(self.programs, self.folder / f"plant{len(self.plants)}", helper, points))
        return self.plants[-1]

    def scenario(self, browser, act):
        browser.look()
        browser.complaints()
        try:
            act(browser, self.make)
            unexpected = [each for each in browser.complaints() if not re.search(EXPECTED.get(act, "^$"), each)]
            assert unexpected == [], f"the console was told: {unexpected}"
        except BaseException:
            browser.driver.save_screenshot(str(self.folder / f"{act.__name__}.png"))
            raise
        finally:
            browser.driver.get("about:blank")
            self.plants[-1].end()

    def attack(self, act):
        try:
            act(self.make)
        finally:
            self.plants[-1].end()


def main(programs, folder, pattern=""):
    signal.signal(signal.SIGALRM, too_long)
    open_network()
    run = Run(programs, folder)
    results = [attempt(name.__name__, lambda: run.attack(name)) for name in ATTACKS if pattern in name.__name__]
    scenarios = [act for act in SCENARIOS if pattern in act.__name__]
    if scenarios:
        browser = Browser(folder)
        try:
            results += [attempt(act.__name__, lambda: run.scenario(browser, act)) for act in scenarios]
        finally:
            browser.quit()
    print(f"{results.count(True)} passed, {results.count(False)} failed")
    return 0 if results and all(results) else 1


sys.exit(main(*sys.argv[1:]))
