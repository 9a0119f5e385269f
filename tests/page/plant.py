"""What the page is opened on: a project directory, its devices, and hmi-host serve, in the namespaces of the run."""

import json
import re
import shutil
import signal
import subprocess
import time
import urllib.request
from pathlib import Path

RUNTIME = Path("/tmp/velix_bacnet")  # private to the run
EXAMPLE = Path("examples/plant/BACnetLabel.xml")
DEVICES = {1: "127.0.0.2", 2: "127.0.0.3"}
OUTSIDE = "192.0.2.1"  # an address that is no loopback, and yet leads nowhere
SYMBOL = (
    "<Symbol><Name>{name}</Name><RegId>{reg}</RegId><ObjectType>{kind}</ObjectType><Instance>{reg}</Instance>"
    "<PropID>85</PropID><DataType>{type}</DataType><BitNum>0</BitNum><PriorityReset>false</PriorityReset></Symbol>"
)


def until(what, ask, seconds=10.0):
    """Asks until the answer is true, and gives it."""
    end = time.monotonic() + seconds
    while True:
        answer = ask()
        if answer:
            return answer
        if time.monotonic() > end:
            raise AssertionError(f"{what}: not within {seconds:g} s")
        time.sleep(0.05)


def open_network():
    """Gives the run's own network its addresses."""
    for command in (["link", "set", "lo", "up"], ["addr", "add", f"{OUTSIDE}/32", "dev", "lo"]):
        subprocess.run(["ip", *command], check=True)


class Process:
    """A program that says in a line on standard output when it is ready."""

    def __init__(self, command, log):
        self.log = open(log, "a", encoding="utf-8")
        self.child = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=self.log, text=True)
        self.greeting = self.child.stdout.readline()
        if not self.greeting:
            raise AssertionError(f"{command} ended with status {self.child.wait()}: {Path(log).read_text()[-500:]}")

    def send(self, number):
        self.child.send_signal(number)

    def end(self, number=signal.SIGTERM):
        if self.child.poll() is None:
            self.child.send_signal(signal.SIGCONT)
            self.child.send_signal(number)
            self.child.wait(5)
        self.child.stdout.close()
        self.log.close()


class Server(Process):
    def __init__(self, command, log):
        super().__init__(command, log)
        self.address = re.search(r"http://(\S+?)/(?:#token=(\S+))?$", self.greeting)
        if not self.address:
            raise AssertionError(f"no address in {self.greeting!r}")
        self.page = self.address[0]
        self.host, self.port = self.address[1].rsplit(":", 1)
        self.token = self.address[2]

    def get(self, path):
        """The JSON that the server answers."""
        headers = {"Authorization": f"Bearer {self.token}"} if self.token else {}
        with urllib.request.urlopen(
            urllib.request.Request(f"http://{self.host}:{self.port}/api/{path}", headers=headers), timeout=10
        ) as answer:
            return json.load(answer)

    def point(self, name):
        return next(point for point in self.get("points") if point["name"] == name)


class Plant:
    """A project directory with the example's two links, or with other points, and what runs for it."""

    def __init__(self, programs, folder, helper, points=None):
        self.programs = Path(programs)
        self.folder = Path(folder)
        self.running = []
        self.folder.mkdir(parents=True)
        self.write_project(EXAMPLE.read_text(encoding="utf-8"), points)
        shutil.copy(self.programs / helper, self.folder / "BACnet_Velix")

    def write_project(self, xml, points):
        for link, address in DEVICES.items():
            xml = xml.replace(f"<Ip>192.168.10.2{link}</Ip>", f"<Ip>{address}</Ip>")
        if points is not None:
            symbols = "".join(SYMBOL.format(reg=i + 1, **point) for i, point in enumerate(points))
            xml = re.sub(r"<BACnet LinkID=\"2\">.*", "</ProjectInfo>", xml, flags=re.S)
            xml = re.sub(
                r"<Symbols LinkID=\"1\">.*</Symbols>", lambda _: f'<Symbols LinkID="1">{symbols}</Symbols>', xml, flags=re.S
            )
        (self.folder / "BACnetLabel.xml").write_text(xml, encoding="utf-8")

    def host(self, link, *arguments):
        """What hmi-host prints as CSV."""
        command = [self.programs / "hmi-host", "--project", f"{self.folder}/", "--link", str(link), "--format", "csv"]
        done = subprocess.run([*command, *arguments], capture_output=True, text=True, timeout=20, check=False)
        return done.stdout

    def start(self, kind, command):
        process = kind([str(part) for part in command], self.folder / "log")
        self.running.append(process)
        return process

    def serve(self, *options, listen="127.0.0.1:0"):
        command = [self.programs / "hmi-host", "--project", f"{self.folder}/", "serve", "--listen", listen]
        return self.start(Server, [*command, *options])

    def device(self, link, *options):
        command = [self.programs / "bacnet-device", "--project", self.folder, "--link", link]
        return self.start(Process, [*command, "--address", DEVICES[link], *options])

    def end(self):
        for process in reversed(self.running):
            process.end(signal.SIGKILL)
        for link in DEVICES:
            self.end_helper(link)

    def end_helper(self, link):
        """The driver leaves its helper running."""
        file = RUNTIME / f"link_{link}.pid"
        pid = int(file.read_text() or 0) if file.exists() else 0
        if pid > 1 and Path(f"/proc/{pid}/exe").resolve().is_relative_to(self.folder.resolve()):
            subprocess.run(["kill", "-KILL", str(pid)], check=False)
        for rest in RUNTIME.glob(f"link_{link}.*"):
            rest.unlink()
