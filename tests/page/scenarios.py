"""What people do with the page. Each scenario gets a browser and a function that makes its plant."""

import json
import re
import signal

from selenium.webdriver.common.keys import Keys
from plant import until

SIMULATOR = "simulator/BACnet_Velix"
REAL = "BACnet_Velix"
MARKUP = "<img src=x onerror=\"document.title='taken'\"><b>bold</b>"


def is_live(browser):
    browser.sees("#connection", "Live")


def number(text):
    return float(re.match(r"-?[0-9.]+", text)[0])


def values_change(browser, make):
    server = make(SIMULATOR).serve()
    browser.open(server.page)
    is_live(browser)
    until("a value", lambda: (browser.row("SupplyAir.Temp") or {}).get("value") not in (None, "–"))
    first = browser.row("SupplyAir.Temp")
    assert (first["quality"], first["age"]) == ("Good", "now"), first
    until("another value", lambda: browser.row("SupplyAir.Temp")["value"] != first["value"])
    until("a trend", lambda: "L" in browser.run("return document.querySelector('.points svg.trend path').getAttribute('d')"))
    browser.goes_to("#/links")
    until("both links", lambda: browser.texts(".links .word") == ["Connected", "Connected"], 15)
    until("their points", lambda: browser.texts(".links tbody .number")[:4] == ["24", "24", "0", "0"], 15)


def search_filter_sort(browser, make):
    plant = make(SIMULATOR)
    (plant.folder / "simulator.json").write_text(json.dumps([{"function": "*", "regId": 9, "code": 9}]))
    server = plant.serve()
    browser.open(server.page)
    until("failed first", lambda: browser.names()[:1] in (["SupplyFan.Speed"], ["Meter.Water"]))
    browser.find("input[value=failed] + span").click()
    until("failed alone", lambda: sorted(browser.names()) == ["Meter.Water", "SupplyFan.Speed"])
    browser.find("input[value=all] + span").click()
    browser.find("#search").send_keys("TEMP analog-in")
    wanted = ["OutdoorAir.Temp", "ReturnAir.Temp", "SupplyAir.Temp", "Temp[1]", "Temp[2]", "Temp[3]"]
    until("six points", lambda: sorted(browser.names()) == wanted)
    name = browser.button("Name", ".points")
    name.click()
    until("by name", lambda: browser.names() == wanted)
    name.click()
    until("backwards", lambda: browser.names() == wanted[::-1])
    assert browser.run("return document.querySelector('th.name').ariaSort") == "descending"
    assert "6 of 36" in browser.text(".shown") and "6 of 36" in browser.text("#announcement")
    browser.find(".points tbody a").click()
    browser.sees("h1", "Temp[3]")
    browser.driver.back()
    until("as it was left", lambda: browser.names() == wanted[::-1])
    browser.find("#search").clear()
    browser.find("#search").send_keys("x")
    browser.choose("#link", "Link 2")
    browser.button("Value", ".points").click()
    browser.find("#search").send_keys(Keys.BACKSPACE, " ")
    until("link 2 by value", lambda: len(browser.names()) == 12 and browser.names()[0].startswith("Pump"))


def plot_and_file(browser, make):
    server = make(SIMULATOR).serve("--interval", "100")
    browser.open(server.page + "#/point/0")
    browser.sees("h1", "SupplyAir.Temp")
    until("a line", browser.has_drawn)
    browser.button("1 min").click()
    before = browser.text(".reading")
    until("the plot follows", lambda: browser.text(".reading") != before)
    span = lambda: [re.findall(r"\d\d:\d\d:\d\d", browser.text(".reading"))]
    browser.button("Zoom in").click()
    still = span()
    assert browser.all(".plot-bar [aria-pressed=true]") == []
    browser.button("Earlier").click()
    assert span() != still
    browser.button("All").click()
    until("a line again", browser.has_drawn)
    browser.button("Save as CSV").click()
    file = until("the file", lambda: next(browser.downloads.glob("SupplyAir.Temp*.csv"), None))
    lines = until("its lines", lambda: file.read_text().splitlines())
    assert lines[0] == "time,value,code" and re.match(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z,2\d\.\d+,0$", lines[1]), lines


def walks_by_keyboard(browser, make):
    plant = make(SIMULATOR)
    browser.open(plant.serve().page)
    is_live(browser)
    browser.press(Keys.TAB)
    assert browser.focused() == "To the content"
    browser.tab_to("Name")  # the head's button
    browser.press(Keys.ENTER)
    browser.tab_to("Alarm.Bits")
    browser.press(Keys.ARROW_DOWN)
    assert browser.focused() == "Alarm.NotifyType"
    browser.press(Keys.END)
    assert browser.focused() == "Unit.ModeText"
    browser.press("/")
    browser.press("tempset")
    until("one point", lambda: browser.names() == ["SupplyAir.TempSetpoint"])
    browser.tab_to("SupplyAir.TempSetpoint")
    browser.press(Keys.ENTER)
    browser.sees("h1", "SupplyAir.TempSetpoint")
    browser.tab_to("new-value")
    browser.press("21,5", Keys.ENTER)
    until("the question", lambda: browser.focused() == "Cancel")
    browser.press(Keys.ESCAPE)
    browser.sees(".result", "Not written.")
    browser.tab_to("new-value")
    browser.press(Keys.ENTER)
    until("the question", lambda: browser.focused() == "Cancel")
    browser.press(Keys.TAB, Keys.ENTER)
    browser.sees(".result", "Written at")
    until("it is read", lambda: browser.text(".present .value") == "21.50")
    browser.driver.back()
    until("back", lambda: browser.names() == ["SupplyAir.TempSetpoint"])


def markup_stays_text(browser, make):
    escaped = MARKUP.replace("&", "&amp;").replace("<", "&lt;").replace('"', "&quot;")
    plant = make(SIMULATOR, [{"name": escaped, "kind": 40, "type": "STRING"}])
    server = plant.serve()
    plant.host(1, "write", "1=<script>x()</script>")
    browser.open(server.page)
    until("the name", lambda: browser.names() == [MARKUP])
    until("the value", lambda: "<script>" in (browser.row(MARKUP) or {}).get("value", ""))
    browser.find(".points tbody a").click()
    browser.sees("h1", MARKUP)
    browser.sees(".present .value", "<script>")
    browser.find("#new-value").send_keys("<i>new</i>")
    browser.button("Write …").click()
    browser.sees("dialog", "<i>new</i>")
    browser.button("Cancel").click()
    for view in ("links", "doctor", "devices"):
        browser.goes_to(f"#/{view}")
        browser.find("h1")
    assert browser.all("main img, main b, main i, main script") == []
    assert "taken" not in browser.driver.title


def loses_and_finds_the_server(browser, make):
    plant = make(SIMULATOR)
    server = plant.serve()
    browser.open(server.page)
    is_live(browser)
    until("values", lambda: (browser.row("SupplyAir.Temp") or {}).get("quality") == "Good")
    server.end(signal.SIGKILL)
    browser.sees("#connection", "Connection lost, last values of ", 3)
    until("all is old", lambda: set(browser.texts(".points .quality .word")) == {"Old"})
    assert browser.row("SupplyAir.Temp")["value"] != "–"
    browser.goes_to("#/point/3")
    browser.sees(".reason", "no connection")
    assert not browser.find("#new-value").is_enabled()
    browser.driver.back()
    plant.serve(listen=f"{server.host}:{server.port}")
    browser.sees("#connection", "Live")
    until("good again", lambda: (browser.row("SupplyAir.Temp") or {}).get("age") == "now")
    before = browser.row("SupplyAir.Temp")["value"]
    until("values again", lambda: browser.row("SupplyAir.Temp")["value"] != before)


def two_thousand_points(browser, make):
    points = [{"name": f"Room{i:04}.Temp", "kind": 2, "type": "REAL"} for i in range(2000)]
    browser.open(make(SIMULATOR, points).serve().page)
    browser.sees(".shown", "2000 of 2000")
    until("values", lambda: (browser.row("Room0000.Temp") or {}).get("quality") == "Good")
    browser.run(
        """window.slow = []; new PerformanceObserver((list) => slow.push(...list.getEntries().map((each) => each.duration)))
           .observe({entryTypes: ['longtask']});"""
    )
    before = browser.row("Room0000.Temp")["value"]
    until("another value", lambda: browser.row("Room0000.Temp")["value"] != before)
    browser.find(".points tbody a").send_keys(Keys.END)
    assert browser.focused() == "Room1999.Temp"
    assert len(browser.all(".points tbody tr")) < 100
    before = browser.row("Room1999.Temp")["value"]
    until("values at the end", lambda: browser.row("Room1999.Temp")["value"] != before)
    slow = browser.run("return slow")
    assert max(slow, default=0) < 400, f"the page stood still for {slow} ms"


def fits_every_screen(browser, make):
    browser.open(make(SIMULATOR).serve().page)
    is_live(browser)
    for width in (390, 800, 1400):
        browser.look(width)
        for view in ("points", "point/3", "links", "doctor", "devices"):
            browser.goes_to(f"#/{view}")
            browser.find("h1")
            until("the view", lambda: not browser.all(".summary:empty") or view == "devices")
            wide = browser.run("return document.documentElement.scrollWidth")
            assert wide <= width, f"{view} is {wide} px wide on {width}"
    unnamed = browser.run(
        """return [...document.querySelectorAll('a, button, input, select')].filter(
             (each) => !(each.textContent.trim() || each.ariaLabel || each.labels?.length)).map((each) => each.outerHTML)"""
    )
    assert unnamed == [], unnamed


def writes_and_releases(browser, make):
    plant = make(REAL)
    plant.device(1, "--value-sources")
    server = plant.serve()
    name = "HeatingValve.Position"
    slot = lambda: server.point("HeatingValve.Priority[8]")["value"]
    until("the device", lambda: server.point(name)["quality"] == "good")
    browser.open(f"{server.page}#/point/{server.point(name)['id']}")
    decides = lambda: browser.text(".priorities .decides th")
    until("the priorities", lambda: decides() == "Default")
    browser.find("#new-value").send_keys("60")
    browser.button("Write …").click()
    question = browser.find("dialog").text
    old = browser.text(".present .value")
    assert name in question and "Priority\n8" in question and "New value\n60" in question, question
    assert number(re.search(r"Old value\n(\S+)", question)[1]) == number(old), question
    browser.button("Cancel", "dialog").click()
    browser.sees(".write .result", "Not written.")
    assert slot() is None and server.point(name)["value"] != 60
    browser.button("Write …").click()
    browser.button("Write 60", "dialog").click()
    browser.sees(".write .result", "Written at")
    until("60 is read", lambda: browser.text(".present .value").startswith("60"))
    until("priority 8 decides", lambda: decides() == "8")
    until("the device has it", lambda: slot() == 60)
    assert re.match(r"by \S", browser.text(".priorities .decides .origin")), "nobody is told to command"
    browser.look(390)
    wide = lambda: browser.run("return document.documentElement.scrollWidth")
    until("it fits a phone", lambda: wide() <= 390)
    assert browser.run("const s = document.querySelector('.priorities').closest('section'); return s.scrollWidth <= s.clientWidth")
    browser.look()
    browser.button("Release priority 8").click()
    assert "Priority\n8, with 60.00" in browser.find("dialog").text
    browser.button("Release priority 8", "dialog").click()
    until("it is told", lambda: any("Priority 8 released" in each for each in browser.texts(".result")))
    until("nobody commands", lambda: decides() == "Default")
    until("the slot is empty", lambda: slot() is None)


def loses_the_device(browser, make):
    plant = make(REAL)
    device = plant.device(1)
    plant.device(2)
    server = plant.serve()
    browser.open(server.page)
    until("values", lambda: (browser.row("SupplyAir.Temp") or {}).get("quality") == "Good")
    device.send(signal.SIGSTOP)
    until("old", lambda: (browser.row("SupplyAir.Temp") or {}).get("quality") == "Old", 20)
    assert browser.row("Pump1.Speed")["quality"] == "Good" and browser.text("#connection") == "Live"
    browser.goes_to("#/point/0")
    browser.sees(".errors", "device silent")
    browser.goes_to("#/doctor")
    browser.find(".remedy", 20)
    device.send(signal.SIGCONT)
    browser.goes_to("#/points")
    until("good", lambda: (browser.row("SupplyAir.Temp") or {}).get("quality") == "Good", 20)


def finds_devices(browser, make):
    plant = make(REAL)
    plant.device(1)
    browser.open(plant.serve("--read-only", "--interface", "lo").page + "#/devices")
    browser.button("Search").click()
    browser.sees(".devices tbody", "3001", 15)


def read_only(browser, make):
    server = make(SIMULATOR).serve("--read-only")
    browser.open(f"{server.page}#/point/3")
    browser.sees("section", "--read-only")
    assert browser.all("#new-value, .release") == []
    status = browser.run(
        """return fetch('api/points/3/write', {method: 'POST', body: '{"value":"1"}',
             headers: {'Content-Type': 'application/json', 'X-Requested-With': 'hmi-host'}}).then((each) => each.status)"""
    )
    assert status == 403, status
    assert any("403" in each for each in browser.complaints())


def asks_for_the_token(browser, make):
    server = make(SIMULATOR).serve("--token")
    browser.open(server.page.split("#")[0])
    browser.find("#token").send_keys("wrong", Keys.ENTER)
    browser.sees("#connection", "token is missing or wrong")
    browser.find("#token").clear()
    browser.find("#token").send_keys(server.token, Keys.ENTER)
    is_live(browser)
    browser.open(server.page)
    is_live(browser)
    assert server.token not in browser.driver.current_url
    assert all("401" in each for each in browser.complaints())


SCENARIOS = [
    values_change,
    search_filter_sort,
    plot_and_file,
    walks_by_keyboard,
    markup_stays_text,
    loses_and_finds_the_server,
    two_thousand_points,
    fits_every_screen,
    writes_and_releases,
    loses_the_device,
    finds_devices,
    read_only,
    asks_for_the_token,
]
# What the console may be told: the browser's own words about a server that is gone, and about priorities that simulated
# points have none of.
EXPECTED = {
    loses_and_finds_the_server: r"net::ERR_|/priorities - .*status of 409",
    **{act: r"/priorities - .*status of 409" for act in (plot_and_file, walks_by_keyboard, markup_stays_text, fits_every_screen)},
}
