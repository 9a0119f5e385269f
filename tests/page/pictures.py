"""Draws the pictures of docs/page.md, of the example plant with virtual devices: pictures.py PROGRAMS FOLDER.
To be started by scripts/page-pictures, in namespaces of its own."""

import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from browser import Browser
from plant import Plant, open_network, until

SEEN_S = 100  # so long the values have moved before they are drawn
WIDTH = 1200


def main(programs, folder):
    open_network()
    plant = Plant(programs, Path(folder) / "plant", "BACnet_Velix")
    for link in (1, 2):
        plant.device(link)
    for link, units in ((1, "SupplyAir.Units=62"), (2, "Meter.ElectricityUnits=19")):
        plant.host(link, "write", units)  # °C and kWh, which the page asks the devices for
    server = plant.serve()
    browser = Browser(folder)
    try:
        browser.look(WIDTH, 640)
        browser.open(server.page)
        browser.sees("#connection", "Live")
        time.sleep(SEEN_S)
        browser.driver.save_screenshot("docs/page.png")
        plant.host(1, "write", "SupplyAir.TempSetpoint=21.5")
        browser.look(WIDTH, 1330, "dark")
        browser.goes_to(f"#/point/{server.point('SupplyAir.TempSetpoint')['id']}")
        until("the plot", browser.has_drawn)
        browser.button("1 min").click()
        time.sleep(SEEN_S / 5)
        browser.find(".priorities .decides")
        browser.driver.save_screenshot("docs/page-point.png")
    finally:
        browser.quit()
        plant.end()


main(*sys.argv[1:])
