#!/usr/bin/env python3
"""Usage: workbench.py WZ [SOAK_MINUTES]

What the server of the workbench takes, beside what is expected of the whole: pictures a second at 480x800,
from a click to the changed picture, from a message on the bus to the page, 10,000 messages. With minutes, an
application chatters for as long, and the server's memory after the first minute and at the end is told.
"""

import json
import os
import statistics
import struct
import sys
import tempfile
import time

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../tests/tools"))
from workbench_client import Socket, Workbench, send_on_bus  # noqa: E402

MOVING = """
  const box = document.createElement('div');
  box.style = 'position:fixed;top:0;left:0;width:100px;height:800px;background:red';
  document.body.append(box);
  let x = 0;
  (function move() { box.style.left = `${x = (x + 5) % 380}px`; requestAnimationFrame(move); })();"""
CLICKED = """
  let count = 0;
  document.onmousedown = () => { document.body.style.background = ++count % 2 ? 'red' : 'blue'; };
  document.body.textContent = 'click';"""
CHATTER = """
  let count = 0;
  setInterval(() => { for (let i = 0; i < 5; i++) { console.log('line', ++count); wz.notify('club', 'CHAT', {count}); } }, 50);
  document.body.textContent = 'chatter';"""


def application(folder, script):
    made = tempfile.mkdtemp(dir=folder)
    with open(made + "/manifest.mft", "w", encoding="ascii") as file:
        json.dump({"application": {"id": "bench" + os.path.basename(made)}, "desktop": {"file": "index.html"}}, file)
    with open(made + "/index.html", "w", encoding="ascii") as file:
        file.write(f"<!doctype html><body style='margin:0'><script>{script}</script>")
    return made


def row(name, value, expected):
    print(f"{name:44} {value:>16}   {expected}")


def next_picture(page, run):
    while not page.pictures:
        page.receive()
    picture = page.pictures.pop(0)
    page.tell("seen", run=run, frame=struct.unpack(">I", picture[4:8])[0])
    return picture


def started(bench, page, script):
    run = page.result("start", folder=application(bench.folder, script))["run"]
    page.result("look", run=run, on=True)
    page.event("painted")
    return run


def pictures(bench, page):
    run = started(bench, page, MOVING)
    next_picture(page, run)
    begin, count, octets = time.monotonic(), 0, 0
    while time.monotonic() < begin + 5:
        octets += len(next_picture(page, run))
        count += 1
    row("Pictures at 480x800", f"{count / 5:.1f} a second", "20 or more")
    row("  each", f"{octets / count / 1000:.0f} KB", "")
    page.result("cancel", run=run)
    page.event("run-ended")


def drain(page, run):
    """Until the picture is still."""
    still = 0
    while still < 3:
        time.sleep(0.05)
        page.result("hosts")
        still = 0 if page.pictures else still + 1
        while page.pictures:
            next_picture(page, run)


def clicks(bench, page):
    run = started(bench, page, CLICKED)
    times = []
    for _ in range(30):
        drain(page, run)
        begin = time.monotonic()
        page.tell("pointer", run=run, type="down", x=100, y=100, button="left")
        page.tell("pointer", run=run, type="up", x=100, y=100, button="left")
        next_picture(page, run)
        times.append(1000 * (time.monotonic() - begin))
    row("From a click to the changed picture", f"{statistics.median(times):.0f} ms median", "120 ms or less, with the page")
    page.result("cancel", run=run)
    page.event("run-ended")


def messages(bench, page):
    path = bench.folder + "/desk/run/bus"
    times = []
    for _ in range(30):
        begin = time.monotonic()
        connection = send_on_bus(path, 1)
        page.event("bus-message", name="COUNT")
        times.append(1000 * (time.monotonic() - begin))
        connection.close()
    row("From a message on the bus to the page", f"{statistics.median(times):.1f} ms median", "")

    page.others.clear()
    begin = time.monotonic()
    connection = send_on_bus(path, 10_000)
    for _ in range(10_000):
        page.event("bus-message", name="COUNT")
    row("10,000 messages sent, seen and told", f"{time.monotonic() - begin:.2f} s", "")
    connection.close()
    again = Socket(bench)
    begin = time.monotonic()
    again.tell("follow", **{"from": 1})
    for _ in range(10_000):
        again.event("bus-message", name="COUNT")
    row("  told again to a page that comes later", f"{time.monotonic() - begin:.2f} s", "")
    again.close()


def memory_of(process):
    with open(f"/proc/{process}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS"))


def soak(bench, page, minutes):
    run = started(bench, page, CHATTER)
    page.result("look", run=run, on=False)
    begin, first, count = time.monotonic(), None, 0
    while time.monotonic() < begin + 60 * minutes:
        page.receive()
        count += len(page.others)
        page.others.clear()
        if first is None and time.monotonic() > begin + 60:
            first = memory_of(bench.process.pid)
    last = memory_of(bench.process.pid)
    row(f"Server after 1 and {minutes:g} minutes, {count} events", f"{first}, {last} KB", "within 20 %")
    row("  more", f"{100 * (last - first) / first:.1f} %", "")
    page.result("cancel", run=run)


def main():
    bench = Workbench(os.path.abspath(sys.argv[1]))
    try:
        page = Socket(bench)
        page.result("follow", **{"from": 1})
        for measure in (pictures, clicks, messages):
            measure(bench, page)
        if len(sys.argv) > 2:
            soak(bench, page, float(sys.argv[2]))
        page.close()
    finally:
        bench.end()


if __name__ == "__main__":
    main()
