"""A panel's device: asks a service for its frame, shows it, and sleeps until the next one.

    python3 device.py ADDRESS ID FRAME [--token TOKEN] [--battery LEVEL] [--count WAKES]

FRAME is a file that is replaced whenever there is another frame; a device with a panel hands the bytes
to its controller there. Only Python's standard library is used.
"""
import argparse
import gzip
import http.client
import os
import sys
import time
import urllib.error
import urllib.request
import zlib
from typing import Optional, Tuple

RETRY = 60  # seconds until the next attempt when the service cannot be reached


def ask(options: argparse.Namespace, tag: str) -> Tuple[Optional[bytes], str, int]:
    """What the service says: a new frame or None, its tag, and how long to sleep."""
    request = urllib.request.Request(f"{options.address}/devices/{options.id}/frame")
    request.add_header("Accept-Encoding", "gzip")
    for name, value in (("If-None-Match", tag), ("X-Battery", options.battery),
                        ("Authorization", options.token and f"Bearer {options.token}")):
        if value:
            request.add_header(name, value)
    try:
        with urllib.request.urlopen(request, timeout=60) as answer:
            frame: bytes = answer.read()
            if answer.headers["Content-Encoding"] == "gzip":
                frame = gzip.decompress(frame)
            return frame, answer.headers["ETag"], int(answer.headers["X-Next-Wake"])
    except urllib.error.HTTPError as error:
        if error.code != 304:
            raise
        return None, tag, int(error.headers["X-Next-Wake"])


parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
for name in ("address", "id", "frame", "--token", "--battery"):
    parser.add_argument(name)
parser.add_argument("--count", type=int, default=0, help="end after so many wakes")
options = parser.parse_args()
tag, wakes = "", 0
while True:
    try:
        frame, new_tag, wake = ask(options, tag)
        if frame is not None:
            with open(options.frame + ".part", "wb") as file:
                file.write(frame)
            os.replace(options.frame + ".part", options.frame)
        tag = new_tag
    except (OSError, http.client.HTTPException, EOFError, zlib.error, TypeError, ValueError) as error:
        # Cut off, or another's answer: the panel keeps what it shows.
        print(error, file=sys.stderr, flush=True)
        wake = RETRY
    wakes += 1
    if wakes == options.count:
        break
    time.sleep(wake)
