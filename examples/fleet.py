"""A fleet of simulated devices, for an hour of their time or more, that see what real ones would see.

    python3 fleet.py OXEL PANEL [--devices N] [--pictures N] [--minutes N] [--kills N] [--size WxH]

It starts `oxel serve` with a clock of its own, which runs as fast as the devices are served. Each device
wakes when X-Next-Wake says so, and asks for its frame with the tag of the one before. The service is
killed, and started again, as often as --kills says. In the end each device must have got every frame of
its schedule, once, in the order that a second service, which nobody killed, gives for the same times.
"""
import argparse
import contextlib
import heapq
import http.client
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import zlib
from typing import Callable, List, Optional, Tuple

START = 1_800_000_000  # a Friday in January, 9:00 in Berlin
INTERVALS = (5, 10, 15, 20, 30)  # minutes
QUIET = ("", "22:00-06:30", "08:45-09:20", "09:30-10:00")  # the last two lie within the hour


def write_png(path: pathlib.Path, seed: int, side: int = 64) -> None:
    """A picture of its own kind, by the standard library."""
    rows = bytearray()
    for y in range(side):
        rows.append(0)
        for x in range(side):
            rows += bytes(((x * 4 * (seed + 1)) & 255, (y * 4 * (seed + 3)) & 255, seed * 37 & 255))

    def chunk(kind: bytes, data: bytes) -> bytes:
        return (len(data).to_bytes(4, "big") + kind + data
                + zlib.crc32(kind + data).to_bytes(4, "big"))

    header = side.to_bytes(4, "big") * 2 + bytes((8, 2, 0, 0, 0))
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header)
                     + chunk(b"IDAT", zlib.compress(bytes(rows))) + chunk(b"IEND", b""))


class Service:
    """A process that serves, with a folder of its own for what it keeps."""

    def __init__(self, command: str, configuration: str, clock: str) -> None:
        self.process = subprocess.Popen([command, "serve", configuration, "--clock", clock],
                                        stdout=subprocess.PIPE, text=True)
        assert self.process.stdout
        self.output = self.process.stdout
        line = self.output.readline()
        if not line:
            raise SystemExit("the service does not start")
        self.port = int(line.rsplit(":", 1)[1].strip().rstrip("/"))
        self.connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)

    def ask(self, device: str, tag: Optional[str]) -> Tuple[int, str, int]:
        """The status, the tag, and the seconds until the next wake."""
        headers = {"If-None-Match": tag} if tag else {}
        self.connection.request("GET", f"/devices/{device}/frame", headers=headers)
        answer = self.connection.getresponse()
        answer.read()
        if answer.status not in (200, 304):
            raise SystemExit(f"{device}: status {answer.status}")
        return answer.status, answer.headers["ETag"] or "", int(answer.headers["X-Next-Wake"] or 0)

    def end(self, kill: bool) -> None:
        self.connection.close()
        if kill:
            self.process.kill()
        else:
            self.process.terminate()
        self.process.wait()
        self.output.close()


def interval_of(number: int) -> int:
    return INTERVALS[number % len(INTERVALS)]


def quiet_of(number: int) -> str:
    return QUIET[number // len(INTERVALS) % len(QUIET)]


def configuration(options: argparse.Namespace, cache: str) -> str:
    lines = ['listen = "127.0.0.1:0"', f'cache = "{cache}"', f'state = "{cache}-state"',
             "[albums]", 'all = "album"']
    for number in range(options.devices):
        lines += [f"[devices.d{number}]", f'panel = "{options.panel}"',
                  f'size = "{options.size}"', 'frame = "packed4"', 'album = "all"',
                  'order = "shuffled"', f'interval = "{interval_of(number)}m"',
                  'zone = "Europe/Berlin"']
        if quiet_of(number):
            lines.append(f'quiet = "{quiet_of(number)}"')
    return "\n".join(lines) + "\n"


def minutes_of(text: str) -> int:
    return 60 * int(text[:2]) + int(text[3:])


def changes_between(number: int, begin: int, end: int) -> int:
    """How often a device's frame changes in this time of the day, in minutes from midnight."""
    count = 0
    for minute in range(0, 24 * 60, interval_of(number)):
        quiet = False
        if quiet_of(number):
            low, high = map(minutes_of, quiet_of(number).split("-"))
            quiet = low <= minute < high if low < high else minute >= low or minute < high
        count += int(begin < minute < end and not quiet)
    return count


Seen = List[List[Tuple[int, str]]]


def simulate(service: Service, restart: Callable[[], Service], options: argparse.Namespace,
             clock: int) -> Tuple[Service, Seen, int]:
    """The tags that each device was given, and when."""
    end = START + 60 * options.minutes
    wakes = [(START, number) for number in range(options.devices)]
    heapq.heapify(wakes)
    seen: Seen = [[] for _ in range(options.devices)]
    kills = [START + (i + 1) * (end - START) // (options.kills + 1) for i in range(options.kills)]
    requests = 0
    while wakes and wakes[0][0] < end:
        now, number = heapq.heappop(wakes)
        if kills and now >= kills[0]:
            kills.pop(0)
            service.end(kill=True)
            service = restart()
        os.pwrite(clock, str(now).encode(), 0)
        tag = seen[number][-1][1] if seen[number] else None
        status, new, wake = service.ask(f"d{number}", tag)
        requests += 1
        if status == 200:
            seen[number].append((now, new))
        heapq.heappush(wakes, (now + wake, number))
    return service, seen, requests


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("oxel")
    parser.add_argument("panel")
    parser.add_argument("--devices", type=int, default=2000)
    parser.add_argument("--pictures", type=int, default=40)
    parser.add_argument("--minutes", type=int, default=60)
    parser.add_argument("--kills", type=int, default=3)
    parser.add_argument("--size", default="800x480")
    options = parser.parse_args()
    options.oxel = os.path.abspath(options.oxel)
    if os.path.exists(options.panel):
        options.panel = os.path.abspath(options.panel)
    faults: List[str] = []
    with contextlib.ExitStack() as stack:
        folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))
        (folder / "album").mkdir()
        for i in range(options.pictures):
            write_png(folder / "album" / f"{i:03}.png", i)
        (folder / "clock").write_text(str(START))
        clock = os.open(folder / "clock", os.O_WRONLY)
        for name in ("first", "second"):
            (folder / f"{name}.toml").write_text(configuration(options, name))

        def start(name: str) -> Service:
            return Service(options.oxel, str(folder / f"{name}.toml"), str(folder / "clock"))

        begin = time.monotonic()
        service, seen, requests = simulate(start("first"), lambda: start("first"), options, clock)
        seconds = time.monotonic() - begin
        service.end(kill=False)
        witness = start("second")
        order = sorted((now, number, tag) for number, tags in enumerate(seen) for now, tag in tags)
        for now, number, tag in order:
            os.pwrite(clock, str(now).encode(), 0)
            if witness.ask(f"d{number}", None)[1] != tag:
                faults.append(f"d{number}: another frame than the second service's at {now}")
        witness.end(kill=False)
    for number, tags in enumerate(seen):
        names = [tag for _, tag in tags]
        expected = 1 + changes_between(number, 540, 540 + options.minutes)
        if len(names) != expected:
            faults.append(f"d{number}: {len(names)} frames of {expected}")
        # A cycle of the album may begin within the hour: a picture comes again only in the next one.
        again = [i for i in range(len(names)) if names[i] in names[:i]]
        if any(names[i] == names[i - 1] for i in again) or len(again) > len(names) // 2:
            faults.append(f"d{number}: a frame came twice")
    for fault in faults[:10]:
        print(fault, file=sys.stderr)
    if faults:
        raise SystemExit(f"{len(faults)} faults")
    print(f"{options.devices} devices, {sum(map(len, seen))} frames: none lost, none repeated; "
          f"{requests} requests and {options.kills} kills in {seconds:.1f} s")


if __name__ == "__main__":
    main()
