"""What nobody should send: it is refused or dropped within a bound, changes nothing, and keeps nobody else waiting."""

import json
import socket
import time

from plant import OUTSIDE, until

SIMULATOR = "simulator/BACnet_Velix"
BOUND_S = 15
VALUE = b'{"value":"99"}'


def request(server, line, headers=None, body=b"", **changed):
    """A request as the page sends it, but for what is changed; a header that is None is left out."""
    every = {
        "Host": f"{server.host}:{server.port}",
        "Origin": f"http://{server.host}:{server.port}",
        "Content-Type": "application/json",
        "X-Requested-With": "hmi-host",
        "Content-Length": str(len(body)) if body else None,
        "Connection": "close",
        **({"Authorization": f"Bearer {server.token}"} if server.token else {}),
        **(headers or {}),
    }
    lines = [f"{name}: {value}" for name, value in every.items() if value is not None]
    return "\r\n".join([f"{line} HTTP/1.1", *lines, "", ""]).encode() + body


def connect(server):
    return socket.create_connection((server.host, int(server.port)), timeout=BOUND_S)


def answer(server, octets):
    """The status of the answer; None where the connection was ended without one."""
    with connect(server) as connection:
        started = time.monotonic()
        got = b""
        try:
            connection.sendall(octets)
            while b"\r\n" not in got:
                part = connection.recv(4096)
                if not part:
                    break
                got += part
        except (ConnectionError, BrokenPipeError):
            pass
        took = time.monotonic() - started
        assert took < BOUND_S, f"answered after {took:.1f} s"
        return int(got.split()[1]) if got.startswith(b"HTTP/") else None


WRITE = "POST /api/points/3/write"


def refused(server):
    """[what is sent, the answers that are right]"""
    other = "evil.example"
    own = f"{server.host}:{server.port}"
    post = lambda headers: request(server, WRITE, headers, VALUE)
    return {
        "another host": (request(server, "GET /api/points", {"Host": other}), [403]),
        "the port of another": (request(server, "GET /api/points", {"Host": f"{other}:{server.port}"}), [403]),
        "no host": (request(server, "GET /api/points", {"Host": None}), [400, 403]),
        "two hosts": (request(server, "GET /api/points", {"Host": f"{own}\r\nHost: {other}"}), [400, 403]),
        "the page for another host": (request(server, "GET /", {"Host": other}), [403]),
        "another origin": (post({"Origin": f"http://{other}"}), [403]),
        "https of the same name": (post({"Origin": f"https://{own}"}), [403]),
        "another port's page": (post({"Origin": f"http://{server.host}:1"}), [403]),
        "no origin": (post({"Origin": None}), [403]),
        "the null origin": (post({"Origin": "null"}), [403]),
        "another site": (post({"Sec-Fetch-Site": "cross-site"}), [403]),
        "a form": (post({"Content-Type": "application/x-www-form-urlencoded"}), [415, 403]),
        "text": (post({"Content-Type": "text/plain"}), [415, 403]),
        "without the page's header": (post({"X-Requested-With": None}), [403]),
        "GET that writes": (request(server, "GET /api/points/3/write"), [404, 405]),
        "PUT": (request(server, "PUT /api/points/3/write", {}, VALUE), [403, 404, 405]),
        "DELETE": (request(server, "DELETE /api/points/3"), [403, 404, 405]),
        "no JSON": (request(server, WRITE, {}, b"{"), [400]),
        "deep JSON": (request(server, WRITE, {}, b"[" * 10000), [400, 413]),
        "no value": (request(server, WRITE, {}, b"{}"), [400, 409]),
        "a value that is none": (request(server, WRITE, {}, b'{"value":"warm"}'), [400, 409]),
        "a point that is none": (request(server, "POST /api/points/999999/write", {}, VALUE), [404]),
        "an id that is none": (request(server, "POST /api/points/-1/write", {}, VALUE), [404]),
        "a priority that is none": (request(server, "POST /api/points/3/release", {}, b'{"priority":17}'), [400, 409]),
        "a file of the machine": (request(server, "GET /../../../../etc/passwd"), [400, 404]),
        "the same, encoded": (request(server, "GET /%2e%2e/%2e%2e/etc/passwd"), [400, 404]),
        "a huge header": (request(server, "GET /", {"X-Much": "x" * 1000000}), [400, 413, 431, None]),
        "many headers": (request(server, "GET /", {f"X-{i}": "x" for i in range(20000)}), [400, 413, 431, None]),
        "a huge address": (request(server, "GET /" + "x" * 100000), [400, 404, 413, 414, None]),
        "a huge body": (request(server, WRITE, {}, VALUE + b" " * 10000000), [400, 413, None]),
        "a body that is said to be huge": (request(server, WRITE, {"Content-Length": "99999999999"}, VALUE), [400, 413, None]),
        "two lengths": (post({"Content-Length": f"2\r\nContent-Length: {len(VALUE)}"}), [400]),
        "a length and chunks": (post({"Transfer-Encoding": "chunked"}), [400]),
        "a length below nothing": (request(server, WRITE, {"Content-Length": "-1"}, VALUE), [400, 413, None]),
        "no HTTP": (b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03" + bytes(500) + b"\r\n\r\n", [400, None]),
        "nothing but ends of lines": (b"\r\n" * 1000, [400, None]),
    }


def judge(server, table, unchanged=lambda: True):
    wrong = []
    for name, (octets, right) in table.items():
        status = answer(server, octets)
        if status not in right:
            wrong.append(f"{name}: {status} instead of {right}")
        if not unchanged():
            wrong.append(f"{name}: something has changed")
    assert wrong == [], "\n".join(wrong)


def refuses_what_is_wrong(make):
    server = make(SIMULATOR).serve()
    value = lambda: server.point("SupplyAir.TempSetpoint")["value"]
    write = lambda text: answer(server, request(server, WRITE, {}, json.dumps({"value": text}).encode()))
    # What the page itself sends is taken, so none of the others is refused for another reason.
    assert until("an answer", lambda: write("20")) == 200
    until("it is written", lambda: value() == 20)
    judge(server, refused(server), lambda: value() == 20)
    status = write("21")
    assert status == 200, f"then a right one was answered with {status}"


def wants_the_token(make):
    for options, mayWrite in (([], 403), (["--allow-write"], 200)):
        plant = make(SIMULATOR)
        server = plant.serve(*options, listen=f"{OUTSIDE}:0")
        assert server.token, server.greeting
        until("a value", lambda: server.point("SupplyAir.TempSetpoint")["value"] is not None)  # the link may be written to
        wrong = {
            "no token": (request(server, "GET /api/points", {"Authorization": None}), [401]),
            "another token": (request(server, "GET /api/points", {"Authorization": "Bearer x"}), [401]),
            "half a token": (request(server, "GET /api/points", {"Authorization": f"Bearer {server.token[:-1]}"}), [401]),
            "a longer one": (request(server, "GET /api/points", {"Authorization": f"Bearer {server.token}x"}), [401]),
            "as a name": (request(server, "GET /api/points", {"Authorization": f"Basic {server.token}"}), [401]),
            "in the address": (request(server, f"GET /api/points?token={server.token}", {"Authorization": None}), [401]),
            "events": (request(server, "GET /api/events", {"Authorization": None}), [401]),
            "a write": (request(server, WRITE, {"Authorization": None}, VALUE), [401, 403]),
            "the name of the loopback": (request(server, "GET /api/points", {"Host": f"localhost:{server.port}"}), [403]),
            "the page": (request(server, "GET /", {"Authorization": None}), [200]),
            "the right one": (request(server, "GET /api/points"), [200]),
            "writing with it": (request(server, WRITE, {}, VALUE), [mayWrite]),
        }
        judge(server, wrong)
        plant.end()


def bears_many_connections(make):
    """A thousand that say nothing, and some that say an octet a second."""
    server = make(SIMULATOR).serve()
    idle = []
    for _ in range(1000):
        try:
            idle.append(connect(server))
        except OSError:
            break
    begun = request(server, "GET /api/points")
    for connection in idle[:20]:
        try:
            connection.sendall(begun[:10])
        except OSError:
            pass
    started = time.monotonic()
    at = 10
    while time.monotonic() - started < 2:
        for connection in idle[:20]:
            try:
                connection.sendall(begun[at : at + 1])
            except OSError:
                pass
        at += 1
        time.sleep(0.5)
    until("somebody else is answered", lambda: answer(server, request(server, "GET /api/state")) == 200, BOUND_S)
    until("the slow ones are dropped", lambda: sum(is_open(each) for each in idle[:20]) == 0, BOUND_S)
    for connection in idle:
        connection.close()
    until("all is as before", lambda: server.point("SupplyAir.Temp")["quality"] == "good")


def is_open(connection):
    """Whether the server has not ended it."""
    connection.settimeout(0.01)
    try:
        while connection.recv(4096):
            pass
        return False
    except TimeoutError:
        return True
    except OSError:
        return False


ATTACKS = [refuses_what_is_wrong, wants_the_token, bears_many_connections]
