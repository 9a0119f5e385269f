"""A headless Chromium, and what a person does with it."""

import shutil
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select
from plant import until

OPTIONS = [
    "--headless=new",
    "--no-sandbox",  # as root it has none
    "--disable-dev-shm-usage",
    "--disable-gpu",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-default-apps",
    "--disable-sync",
    "--no-first-run",
    "--no-proxy-server",
    "--hide-scrollbars",
]


class Browser:
    def __init__(self, folder):
        self.downloads = Path(folder) / "downloads"
        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium")
        for option in [*OPTIONS, f"--user-data-dir={Path(folder).resolve()}/profile"]:
            options.add_argument(option)
        options.add_experimental_option("prefs", {"download.default_directory": str(self.downloads.resolve())})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)
        self.driver.set_script_timeout(10)
        self.driver.set_page_load_timeout(10)

    def quit(self):
        self.driver.quit()

    def look(self, width=1400, height=900, scheme="light"):
        """As on a screen of that size."""
        metrics = {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False}
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", metrics)
        features = [{"name": "prefers-color-scheme", "value": scheme}]
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": features})

    def open(self, page):
        self.driver.get("about:blank")  # another fragment alone would load nothing
        self.driver.get(page)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def find(self, selector, seconds=10.0):
        """The first element of the selector, once it can be seen."""
        return until(selector, lambda: next((each for each in self.all(selector) if each.is_displayed()), None), seconds)

    def text(self, selector):
        """All of its text, also where it is cut."""
        return self.run("return document.querySelector(arguments[0])?.textContent ?? ''", selector)

    def texts(self, selector):
        return self.run("return [...document.querySelectorAll(arguments[0])].map((each) => each.textContent)", selector)

    def sees(self, selector, text, seconds=10.0):
        return until(f"{text!r} in {selector}", lambda: text in self.text(selector), seconds)

    def button(self, text, within="body"):
        """The button of that text or name."""
        script = """return [...document.querySelectorAll(`${arguments[1]} button`)].find(
            (each) => each.textContent === arguments[0] || each.ariaLabel === arguments[0])"""
        return until(f"button {text!r}", lambda: self.run(script, text, within))

    def press(self, *keys):
        ActionChains(self.driver).send_keys(*keys).perform()

    def focused(self):
        return self.run("const e = document.activeElement; return e.ariaLabel || e.id || e.textContent.trim()")

    def tab_to(self, name, most=40):
        """Walks there with the tab key alone."""
        for _ in range(most):
            self.press(Keys.TAB)
            if self.focused() == name:
                return
        raise AssertionError(f"the tab key does not lead to {name!r}, but to {self.focused()!r}")

    def choose(self, selector, text):
        Select(self.find(selector)).select_by_visible_text(text)

    def goes_to(self, view):
        self.run("location.hash = arguments[0]", view)

    def row(self, name):
        """The cells of a point's row by name; None where the row is not there."""
        script = """const row = [...document.querySelectorAll('.points tbody tr')].find(
            (each) => each.querySelector('.name')?.textContent === arguments[0]);
            return row && Object.fromEntries([...row.children].map((each) => [each.classList[0], each.textContent]));"""
        return self.run(script, name)

    def names(self):
        return self.texts(".points tbody .name")

    def has_drawn(self):
        """Whether the plot has anything but ground and grid."""
        script = """return [...document.querySelectorAll('.plot canvas')].some((canvas) => {
            const {data} = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
            const line = getComputedStyle(document.documentElement).getPropertyValue('--line').trim();
            const [r, g, b] = [1, 3, 5].map((at) => parseInt(line.slice(at, at + 2), 16));
            for (let i = 0; i < data.length; i += 4)
              if (data[i + 3] > 200 && Math.abs(data[i] - r) + Math.abs(data[i + 1] - g) + Math.abs(data[i + 2] - b) < 30)
                return true;
            return false; })"""
        return self.run(script)

    def complaints(self):
        """The errors that the console has been told since the last time; what the content policy forbids is one."""
        return [each["message"] for each in self.driver.get_log("browser") if each["level"] == "SEVERE"]
