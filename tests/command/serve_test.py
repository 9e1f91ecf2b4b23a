"""oxel serve, on the loopback interface. The time is what a file says, so that no test waits for it."""

import contextlib
import gzip
import http.client
import http.server
import io
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time
import unittest

import numpy as np
from PIL import Image

from command_case import COMMAND, CommandCase

TOKEN = "page-token-1"
START = 1_800_000_000  # 15 January 2027, 8:00 UTC
EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"

TOP = f'''listen = "127.0.0.1:0"
site = "site"
token = "{TOKEN}"
upload-megabytes = 1
[albums]
family = "album"
'''


def device(name, *lines):
    return "\n".join([f"[devices.{name}]", 'panel = "panel.lut"', 'size = "24x16"', *lines, ""])


KITCHEN = device("kitchen", 'album = "family"', 'interval = "1h"')


class Answer:
    def __init__(self, answer):
        self.status, self.headers, self.body = answer.status, answer.headers, answer.read()


# A sanitizer that this interpreter needs preloaded would hold up the curl that the service starts.
ENVIRONMENT = {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}


class Service:
    def __init__(self, configuration, clock=START, **environment):
        pathlib.Path("serve.toml").write_text(configuration)
        self.set_clock(clock)
        with open("errors", "ab") as errors:
            self.process = subprocess.Popen(
                [COMMAND, "serve", "serve.toml", "--clock", "clock"], stdout=subprocess.PIPE,
                stderr=errors, text=True, env={**ENVIRONMENT, **environment})
        line = self.process.stdout.readline()
        if not line:
            raise AssertionError(pathlib.Path("errors").read_text())
        self.port = int(line.rsplit(":", 1)[1].strip().rstrip("/"))

    def set_clock(self, seconds):
        self.now = seconds
        with open("clock.part", "w") as file:
            file.write(str(seconds))
        if pathlib.Path("clock").exists():  # the service has this one open
            with open("clock", "r+") as file:
                file.write(str(seconds))
        else:
            os.rename("clock.part", "clock")

    def ask(self, target, method="GET", body=None, token=None, **headers):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        with contextlib.closing(connection):
            headers = {name.replace("_", "-"): value for name, value in headers.items()}
            if token:
                headers["Authorization"] = f"Bearer {token}"
            connection.request(method, target, body, headers)
            return Answer(connection.getresponse())

    def raw(self, *pieces):
        """The first line of what comes for bytes that are sent as they are."""
        with socket.create_connection(("127.0.0.1", self.port), timeout=60) as connection:
            for piece in pieces:
                connection.sendall(piece)
            return connection.recv(65536).split(b"\r\n")[0]

    def end(self):
        """The exit code."""
        self.process.terminate()
        code = self.process.wait(60)
        self.process.stdout.close()
        return code


class Serve(CommandCase):
    def setUp(self):
        super().setUp()
        os.makedirs("album/sub")
        os.makedirs("site/assets")
        pathlib.Path("site/index.html").write_text("<title>page</title>")
        pathlib.Path("site/assets/page.js").write_text("page()")
        for i in range(5):
            self.picture(f"album/{'sub/' if i > 2 else ''}p{i}.png", i)

    @staticmethod
    def picture(path, seed, size=(24, 16)):
        pixels = np.random.default_rng(seed).integers(0, 256, (size[1], size[0], 3), np.uint8)
        Image.fromarray(pixels).save(path)

    def serve(self, configuration, **options):
        service = Service(configuration, **options)
        self.addCleanup(lambda: service.process.poll() is None and service.end())
        return service

    def rendered(self, picture, *options):
        self.oxel("render", picture, "--panel panel.lut --size 24x16 -o expected", *options)
        return pathlib.Path("expected").read_bytes()

    def test_gives_a_frame_until_the_next(self):
        service = self.serve(TOP + device("kitchen", 'album = "family"', 'interval = "1h"',
                                          'frame = "packed2"', 'zone = "Europe/Berlin"',
                                          'dither = "stucki"'))
        pictures = [f"album/{name}" for name in
                    ("p0.png", "p1.png", "p2.png", "sub/p3.png", "sub/p4.png")]
        frames = [self.rendered(name, "--frame packed2 --dither stucki") for name in pictures]
        first = service.ask("/devices/kitchen/frame", X_Battery="3.9")
        self.assertEqual(first.status, 200)
        self.assertEqual(first.headers["X-Next-Wake"], "3600")
        self.assertEqual(first.headers["Cache-Control"], "private, max-age=3600")
        self.assertEqual(first.headers["Content-Length"], str(24 * 16 // 4))
        place = frames.index(first.body)
        tag = first.headers["ETag"]
        self.assertRegex(tag, r'^"[0-9a-f]+"$')
        service.set_clock(START + 3599)
        again = service.ask("/devices/kitchen/frame", If_None_Match=tag)
        self.assertEqual((again.status, again.body, again.headers["X-Next-Wake"]), (304, b"", "1"))
        self.assertEqual(again.headers["Content-Length"], "0")
        packed = service.ask("/devices/kitchen/frame", Accept_Encoding="gzip")
        self.assertEqual(gzip.decompress(packed.body), first.body)
        self.assertNotEqual(packed.headers["ETag"], tag)
        self.assertEqual(packed.headers["Content-Length"], str(len(packed.body)))
        part = service.ask("/devices/kitchen/frame", Range="bytes=10-19", If_Range=tag,
                           Accept_Encoding="gzip")
        self.assertEqual((part.status, part.body), (206, first.body[10:20]))
        self.assertEqual(part.headers["Content-Range"], "bytes 10-19/96")
        head = service.ask("/devices/kitchen/frame", "HEAD")
        self.assertEqual((head.body, head.headers["Content-Length"], head.headers["ETag"]),
                         (b"", "96", tag))
        for i in range(1, 7):
            service.set_clock(START + 3600 * i)
            answer = service.ask("/devices/kitchen/frame", If_None_Match=tag)
            self.assertEqual(answer.body, frames[(place + i) % 5], i)
            tag = answer.headers["ETag"]
        metrics = service.ask("/metrics", token=TOKEN).body.decode()
        self.assertIn('oxel_device_battery{device="kitchen"} 3.9', metrics)
        self.assertIn(f'oxel_device_last_wake_seconds{{device="kitchen"}} {service.now}', metrics)
        self.assertRegex(metrics, r'oxel_requests_total\{code="304"\} 1\n')
        listed = json.loads(service.ask("/devices", token=TOKEN).body)["devices"][0]
        self.assertEqual([listed[key] for key in
                          ("id", "width", "height", "format", "source", "next_wake")],
                         ["kitchen", 24, 16, "packed2", "album family", 3600])
        self.assertEqual(service.ask("/devices/kitchen/package", token=TOKEN).body,
                         pathlib.Path("panel.lut").read_bytes())
        described = service.ask("/devices/kitchen/panel.json", token=TOKEN).body
        pathlib.Path("again.json").write_bytes(described)
        self.oxel("render photo.png --panel again.json -o frame.bin")
        preview = service.ask("/devices/kitchen/preview.png", token=TOKEN)
        self.assertEqual(Image.open(io.BytesIO(preview.body)).size, (24, 16))
        self.assertEqual(service.end(), 0)

    def test_moves_on_and_goes_on_after_a_kill_and_beside_another(self):
        configuration = TOP + device("hall", 'album = "family"', 'interval = "1h"',
                                     'order = "shuffled"', "seed = 3")
        service = self.serve(configuration)
        tags = [service.ask("/devices/hall/frame").headers["ETag"]]
        service.ask("/devices/hall/frame?next", "HEAD")  # which only looks
        for i in range(1, 5):
            if i % 2:
                tags.append(service.ask("/devices/hall/frame?next").headers["ETag"])
            else:
                service.set_clock(service.now + 3600)
                tags.append(service.ask("/devices/hall/frame").headers["ETag"])
            service.process.kill()
            service.process.wait()
            service.process.stdout.close()
            service = self.serve(configuration, clock=service.now)
        place = (START // 3600 - 1704067200 // 3600) % 5  # in the cycle of five
        self.assertEqual(len(set(tags[:5 - place])), 5 - place)
        self.assertTrue(all(a != b for a, b in zip(tags, tags[1:])))
        other = self.serve(configuration, clock=service.now)
        self.assertEqual(service.ask("/devices/hall/frame").headers["ETag"], tags[-1])
        self.assertEqual(other.ask("/devices/hall/frame").headers["ETag"], tags[-1])

    def test_shows_albums_and_keeps_crops(self):
        service = self.serve(TOP + KITCHEN)
        self.assertEqual(json.loads(service.ask("/albums", token=TOKEN).body),
                         {"albums": [{"name": "family", "pictures": 5}]})
        shown = service.ask("/devices/kitchen/frame")
        names = [p["name"] for p in json.loads(service.ask("/albums/family", token=TOKEN).body)
                 ["pictures"]]
        name = next(n for n in names if self.rendered(f"album/{n}") == shown.body)
        target = f"/albums/family/{name}"
        picture = pathlib.Path("album", name).read_bytes()
        self.assertEqual(service.ask(target, token=TOKEN).body, picture)
        small = service.ask(target + "?thumbnail", token=TOKEN)
        self.assertEqual((small.headers["Content-Type"],
                          Image.open(io.BytesIO(small.body)).size), ("image/jpeg", (24, 16)))
        crop = [0.25, 0, 0.5, 0.5]
        pathlib.Path(f"album/{name}.oxel.json").write_text('{"note": 1}')
        put = service.ask(target + "?device=kitchen", "PUT", json.dumps({"crop": crop}), TOKEN)
        self.assertEqual(put.status, 204)
        self.assertEqual(json.loads(pathlib.Path(f"album/{name}.oxel.json").read_text()),
                         {"note": 1, "crops": {"kitchen": crop}})
        listed = json.loads(service.ask("/albums/family", token=TOKEN).body)["pictures"]
        self.assertIn({"name": name, "crops": {"kitchen": crop}}, listed)
        self.assertEqual(service.ask("/devices/kitchen/frame").body,
                         self.rendered(f"album/{name}", "--crop 25%,0%,50%,50%"))
        for bad in ('{"crop": [0, 0, 1]}', '{"crop": [0, 0, 2, 1]}', '{"crop": [0.5, 0, 0.6, 1]}',
                    '{"crop": [0, 0, 0, 1]}', "[", "[" * 4000, '{"crop": [0, 0, "1", 1]}', ""):
            self.assertEqual(service.ask(target + "?device=kitchen", "PUT", bad, TOKEN).status, 400)
        self.assertEqual(service.ask(target + "?device=none", "DELETE", token=TOKEN).status, 404)
        self.assertEqual(service.ask(target + "?device=kitchen", "DELETE", token=TOKEN).status, 204)
        self.assertEqual(service.ask("/devices/kitchen/frame").body, shown.body)

    def test_lets_nobody_else_in(self):
        pathlib.Path("secret").write_text("hall-token-1\n")
        pathlib.Path("outside.png").write_bytes(b"outside")
        os.symlink("../outside.png", "album/link.png")
        os.symlink("../../outside.png", "site/assets/link.png")
        service = self.serve(TOP + KITCHEN + device("hall", 'album = "family"',
                                                    'token-file = "secret"'))
        crop = json.dumps({"crop": [0, 0, 1, 1]})
        target = "/albums/family/p0.png?device=kitchen"
        for method, where, tokens in [
                ("GET", "/", None), ("GET", "/healthz", None), ("GET", "/assets/page.js", None),
                ("GET", "/devices/kitchen/frame", None),
                ("GET", "/devices/hall/frame", ["hall-token-1", TOKEN]),
                ("GET", "/devices/hall/preview.png", ["hall-token-1", TOKEN]),
                ("GET", "/devices/kitchen/preview.png", [TOKEN]), ("GET", "/devices", [TOKEN]),
                ("GET", "/albums", [TOKEN]), ("GET", "/albums/family/p0.png", [TOKEN]),
                ("GET", "/metrics", [TOKEN]), ("PUT", target, [TOKEN]), ("DELETE", target, [TOKEN]),
                ("POST", "/render?device=kitchen", [TOKEN])]:
            body = crop if method == "PUT" else None
            for token in (None, "hall-token-1", TOKEN, "x", TOKEN + "x"):
                answer = service.ask(where, method, body, token)
                wanted = tokens is None or token in tokens
                self.assertEqual(answer.status != 401, wanted, (method, where, token))
        self.assertEqual(service.ask("/devices/hall/frame?token=hall-token-1").status, 200)
        for outside in ("/albums/family/../../outside.png", "/albums/family/%2e%2e/outside.png",
                        "/albums/family/link.png", "/albums/family/..%2foutside.png",
                        "/assets/link.png", "/assets/%2e%2e/%2e%2e/serve.toml", "/serve.toml"):
            self.assertIn(service.ask(outside, token=TOKEN).status, (400, 404), outside)
        service.end()
        closed = self.serve(TOP.replace(f'token = "{TOKEN}"', "") + KITCHEN)
        self.assertEqual(closed.ask("/albums").status, 200)
        refused = closed.ask(target, "PUT", crop)
        self.assertEqual((refused.status, refused.body),
                         (403, b"writing needs a token, and the configuration has none\n"))

    def test_says_which_methods_are_possible(self):
        service = self.serve(TOP + KITCHEN)
        for target, allowed in [("/devices", "GET, HEAD"), ("/", "GET, HEAD"), ("/render", "POST"),
                                ("/albums/family/p0.png", "GET, HEAD, PUT, DELETE")]:
            answer = service.ask(target, "BREW")
            self.assertEqual((answer.status, answer.headers["Allow"]), (405, allowed), target)

    def test_tags_files_as_another_machine_would(self):
        service = self.serve(TOP + KITCHEN)
        tag = service.ask("/").headers["ETag"]
        shutil.copytree("site", "other", copy_function=shutil.copy2)
        shutil.copytree("album", "album2", copy_function=shutil.copy)
        other = self.serve(TOP.replace('"site"', '"other"').replace('"album"', '"album2"') + KITCHEN)
        self.assertEqual(other.ask("/").headers["ETag"], tag)
        picture = "/albums/family/p0.png"
        self.assertEqual(other.ask(picture, token=TOKEN).headers["ETag"],
                         service.ask(picture, token=TOKEN).headers["ETag"])
        self.picture("album2/p0.png", 9)
        self.assertNotEqual(other.ask(picture, token=TOKEN).headers["ETag"],
                            service.ask(picture, token=TOKEN).headers["ETag"])
        os.utime("other/index.html", (START, START))
        self.assertNotEqual(other.ask("/").headers["ETag"], tag)

    def test_goes_on_without_a_cache(self):
        service = self.serve(TOP + KITCHEN)
        service.ask("/devices/kitchen/frame")
        os.rename("cache", "gone")
        pathlib.Path("cache").write_text("no folder")
        frames = set()
        for i in range(5):
            service.set_clock(START + 3600 * i)
            for _ in range(2):
                frames.add(service.ask("/devices/kitchen/frame").body)
        self.assertEqual(frames, {self.rendered(f"album/{name}") for name in
                                  ("p0.png", "p1.png", "p2.png", "sub/p3.png", "sub/p4.png")})
        self.assertIn(".frame: Not a directory", pathlib.Path("errors").read_text())
        os.remove("cache")
        service.ask("/devices/kitchen/preview.png", token=TOKEN)
        self.assertTrue(os.listdir("cache"))

    def test_renders_what_is_sent(self):
        service = self.serve(TOP + KITCHEN)
        photo = pathlib.Path("photo.png").read_bytes()
        sent = service.ask("/render?device=kitchen", "POST", photo, TOKEN)
        self.assertEqual((sent.status, sent.body), (200, self.rendered("photo.png")))
        preview = service.ask("/render?device=kitchen&preview", "POST", photo, TOKEN)
        self.assertEqual(Image.open(io.BytesIO(preview.body)).size, (24, 16))
        broken = service.ask("/render?device=kitchen", "POST", photo[:200], TOKEN)
        self.assertEqual(broken.status, 422)
        self.assertEqual(broken.body.count(b"\n"), 1)
        self.assertEqual(service.ask("/render", "POST", photo, TOKEN).status, 404)
        head = f"POST /render?device=kitchen HTTP/1.1\r\nHost: h\r\nAuthorization: Bearer {TOKEN}\r\n"
        for announced in ("100000000", "1000001\r\nExpect: 100-continue"):
            self.assertIn(b" 413 ", service.raw(
                f"{head}Content-Length: {announced}\r\n\r\n".encode()))
        large = service.ask("/render?device=kitchen", "POST", bytes(20_000_000), TOKEN)
        self.assertEqual(large.body, b"more than the 1000000 bytes that may come\n")
        chunk = b"10000\r\n" + bytes(65536) + b"\r\n"
        grown = service.raw(head.encode() + b"Transfer-Encoding: chunked\r\n\r\n",
                            *[chunk] * 16, b"0\r\n\r\n")
        self.assertIn(b" 413 ", grown)
        self.assertEqual(service.ask("/healthz").status, 200)

    def test_costs_only_itself_what_is_hostile(self):
        pathlib.Path("album/p1.png").write_bytes(b"\x89PNG\r\n\x1a\n" + b"x" * 100)
        service = self.serve(TOP + KITCHEN)
        answers = []
        for i in range(5):
            service.set_clock(START + 3600 * i)
            answers.append(service.ask("/devices/kitchen/frame"))
        self.assertEqual({answer.status for answer in answers}, {200})
        good = [self.rendered(f"album/{n}") for n in ("p0.png", "p2.png", "sub/p3.png", "sub/p4.png")]
        self.assertEqual({answer.body for answer in answers}, set(good))
        self.assertEqual(service.ask("/albums/family/p1.png?thumbnail", token=TOKEN).status, 422)
        slow = contextlib.ExitStack()
        self.addCleanup(slow.close)
        for _ in range(50):
            slow.enter_context(socket.create_connection(("127.0.0.1", service.port))).sendall(
                b"GET /devices/kitchen/fra")
        for piece in (b"GET / HTTP/1.1\r\nHost: h\r\nX: " + b"x" * 60000 + b"\r\n\r\n",
                      b"GET\r\n\r\n", b"GET /" + b"x" * 20000, b"\x16\x03\x01\x02\r\n\r\n",
                      b"GET /\xff HTTP/1.1\r\nHost: h\r\n\r\n",
                      b"GET / HTTP/1.1\r\nHost: h\r\nContent-Length: -1\r\n\r\n",
                      b"GET /healthz HTTP/1.1\r\nHost: h\r\nContent-Length : 5\r\n\r\n",
                      b"GET /healthz HTTP/1.1\r\nHost: h\r\nHost: i\r\n\r\n",
                      b"GET /healthz HTTP/1.1\r\nHost: h\r\nContent-Length: 5\r\n"
                      b"Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
                      b"BREW /devices HTTP/1.1\r\nHost: h\r\n\r\n"):
            with contextlib.suppress(ConnectionError):
                self.assertNotIn(b" 200 ", service.raw(piece))
        self.assertEqual(service.ask("/devices/kitchen/frame").status, 200)
        self.assertIsNone(service.process.poll())

    def test_shows_other_sources_captions_and_pairs(self):
        os.makedirs("tall")
        for i in range(3):
            self.picture(f"tall/t{i}.png", 20 + i, (12, 24))
        pathlib.Path("photo.txt").write_text("A & B <c>\nmore")
        big = 'size = "200x100"'
        lines = [device("fixed", 'picture = "photo.png"', 'caption = "name"').replace(
                     'size = "24x16"', big),
                 device("plain", 'picture = "photo.png"').replace('size = "24x16"', big),
                 device("made", 'command = ["cat", "photo.png"]', 'interval = "1h"'),
                 device("broken", 'command = ["false"]', 'interval = "1h"'),
                 device("pair", 'folder = "tall"', "pairs = true", 'interval = "1h"')]
        service = self.serve(TOP + "".join(lines))
        plain = np.frombuffer(service.ask("/devices/plain/frame").body, np.uint8).reshape(100, 200)
        fixed = np.frombuffer(service.ask("/devices/fixed/frame").body, np.uint8).reshape(100, 200)
        band = fixed[-18:]
        self.assertEqual(len(np.unique(band)), 2)  # ink and paper, nothing between
        self.assertGreater(len(np.unique(plain[-18:])), 2)
        self.assertEqual(service.ask("/devices/made/frame").body, self.rendered("photo.png"))
        self.assertEqual(service.ask("/devices/broken/frame").status, 500)
        seen = set()
        for i in range(2):
            service.set_clock(START + 3600 * i)
            seen.add(service.ask("/devices/pair/frame").body)
        self.assertEqual(len(seen), 2)  # two of the three, then the last
        self.assertIn(self.rendered("tall/t2.png"), seen)

    def test_asks_a_source_again_after_a_minute_of_its_clock(self):
        service = self.serve(TOP + device(
            "made", """command = ["sh", "-c", "echo >>asked; [ -e ready ] && cat photo.png"]""",
            'interval = "1h"'))
        for i, (seconds, asked) in enumerate([(0, 1), (59, 1), (60, 2), (30, 3)]):
            service.set_clock(START + seconds)
            self.assertEqual(service.ask("/devices/made/frame").status, 500)
            self.assertEqual(len(pathlib.Path("asked").read_text()), asked, i)
        pathlib.Path("ready").touch()
        service.set_clock(START + 100)
        self.assertEqual(service.ask("/devices/made/frame").body, self.rendered("photo.png"))

    def test_renders_while_a_source_lets_it_wait(self):
        wait = "until [ -e ready ]; do sleep 0.05; done; cat photo.png"
        service = self.serve("jobs = 1\n" + TOP + device("made", f'command = ["sh", "-c", "{wait}"]')
                             + device("quick", 'command = ["cat", "photo.png"]') + KITCHEN)
        made = []
        waiting = [threading.Thread(
            target=lambda: made.append(service.ask("/devices/made/frame").body)) for _ in range(20)]
        for one in waiting:
            one.start()
        self.assertEqual(service.ask("/devices/quick/frame").status, 200)
        for i in range(2, 5):  # none of which is made ahead
            service.set_clock(START + 3600 * i)
            self.assertEqual(service.ask("/devices/kitchen/preview.png", token=TOKEN).status, 200)
        pathlib.Path("ready").touch()
        for one in waiting:
            one.join()
        self.assertEqual(made, [self.rendered("photo.png")] * 20)

    def test_fetches_what_an_address_gives_and_no_more(self):
        photo = pathlib.Path("photo.png").read_bytes()

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                where = {"/moved": "/photo", "/file": "file:///etc/passwd",
                         "/ftp": "ftp://127.0.0.1/x", "/loop": "/loop"}.get(self.path)
                self.send_response(302 if where else 200)
                if where:
                    self.send_header("Location", where)
                if self.path == "/large":
                    self.send_header("Content-Length", str(1 << 40))
                self.end_headers()
                with contextlib.suppress(OSError):
                    self.wfile.write(photo if self.path == "/photo" else b"")
                    while self.path == "/endless":
                        self.wfile.write(bytes(1 << 20))

            def log_message(self, *_):
                pass

        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.addCleanup(server.server_close)
        threading.Thread(target=server.serve_forever).start()
        self.addCleanup(server.shutdown)
        names = ("photo", "moved", "file", "ftp", "loop", "large", "endless")
        service = self.serve(TOP + "".join(
            device(name, f'address = "http://127.0.0.1:{server.server_port}/{name}"')
            for name in names))
        answers = [service.ask(f"/devices/{name}/frame") for name in names]
        self.assertEqual([answer.status for answer in answers], [200] * 2 + [500] * 5,
                         pathlib.Path("errors").read_text())
        self.assertEqual({answer.body for answer in answers[:2]}, {self.rendered("photo.png")})
        told = pathlib.Path("errors").read_text().splitlines()
        self.assertEqual(sorted(line.split(": ")[:2] for line in told),
                         sorted(["oxel", name] for name in names[2:]), told)
        for reason in (r"/loop: Maximum \(5\) redirects followed$",
                       "/endless: (gives more than 64 MB|Exceeded the maximum .*)$"):  # new curl's
            self.assertRegex("\n".join(told), f"(?m){reason}")

    def test_ends_when_slow_clients_have_their_frames(self):
        service = self.serve(TOP + device("big", 'picture = "photo.png"').replace(
            "24x16", "4000x3000"))
        slow = http.client.HTTPConnection("127.0.0.1", service.port, timeout=60)
        self.addCleanup(slow.close)
        slow.sock = socket.socket()
        slow.sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        slow.sock.connect(("127.0.0.1", service.port))
        slow.request("GET", "/devices/big/frame")
        answer = slow.getresponse()
        self.assertEqual(answer.status, 200, pathlib.Path("errors").read_text())
        service.process.terminate()
        with self.assertRaises(subprocess.TimeoutExpired):
            service.process.wait(1)
        self.assertEqual(len(answer.read()), 4000 * 3000)
        self.assertEqual(service.process.wait(60), 0)
        service.process.stdout.close()

    def test_ends_while_it_is_asked(self):
        """Its first thread is held up between any two steps that concern the others' sockets."""
        pathlib.Path("slow.c").write_text("""
            #define _GNU_SOURCE
            #include <sys/epoll.h>
            #include <sys/syscall.h>
            #include <unistd.h>
            int epoll_ctl(int set, int change, int file, struct epoll_event *event) {
                if (getpid() == syscall(SYS_gettid))
                    usleep(100000);
                return (int)syscall(SYS_epoll_ctl, set, change, file, event);
            }""")
        compiler = os.environ.get("CC", "cc").split()
        subprocess.run([*compiler, "-shared", "-fPIC", "slow.c", "-o", "slow.so"], check=True)
        before = os.environ.get("LD_PRELOAD", "")  # a sanitizer's, which wants to be the first
        service = self.serve(TOP + KITCHEN, LD_PRELOAD=f"{before} {os.path.abspath('slow.so')}")

        def ask():
            connection = http.client.HTTPConnection("127.0.0.1", service.port, timeout=60)
            with contextlib.closing(connection):
                with contextlib.suppress(OSError, http.client.HTTPException):
                    while True:  # threads of the service are at it
                        connection.request("GET", "/devices", headers={"Authorization": f"Bearer {TOKEN}"})
                        connection.getresponse().read()

        clients = [threading.Thread(target=ask) for _ in range(32)]
        for client in clients:
            client.start()
        self.assertEqual(service.end(), 0, pathlib.Path("errors").read_text())
        for client in clients:
            client.join()

    def test_reads_its_configuration_anew(self):
        service = self.serve(TOP + KITCHEN)
        self.assertEqual(service.ask("/devices/hall/frame").status, 404)
        pathlib.Path("serve.toml").write_text(TOP + KITCHEN + device("hall", 'album = "family"'))
        service.process.send_signal(signal.SIGHUP)
        self.assertIn("anew", service.process.stdout.readline())
        self.assertEqual(service.ask("/devices/hall/frame").status, 200)
        pathlib.Path("serve.toml").write_text(TOP + device("hall", 'album = "famly"'))
        service.process.send_signal(signal.SIGHUP)
        while "stays" not in pathlib.Path("errors").read_text():
            time.sleep(0.01)
        self.assertIn('serve.toml: line 10: devices.hall.album: there is no album famly; did you '
                      'mean family?', pathlib.Path("errors").read_text())
        self.assertEqual(service.ask("/devices/kitchen/frame").status, 200)

    def test_refuses_a_wrong_configuration(self):
        for line, message in [
                ("listen = 1", "line 1: listen: must be a string"),
                ('listen = "here"', "line 1: listen: must be ADDRESS:PORT"),
                ("x = [", "line 1: "), ("", "has neither devices nor albums"),
                ('chache = "c"', "line 1: chache: unknown key"),
                ('token = "short"', "line 1: token: is too short"),
                ('[albums]\nfamily = "none"', "line 2: albums.family: .*none is not a folder"),
                ('[devices."a/b"]\npanel = "six-colour"', "line 1: .*id has letters"),
                (device("d"), "line 1: devices.d: must have one of album"),
                (device("d", 'folder = "album"', 'fit = "covr"'), "line 1: devices.d: fit: covr"),
                (device("d", 'folder = "album"', 'colour = 1'), "line 1: .*unknown key colour"),
                (device("d", 'folder = "album"', 'interval = "25h"'), "line 5: devices.d.interval: "),
                (device("d", 'folder = "album"', 'times = ["24:00"]'), "line 5: devices.d.times: "),
                (device("d", 'folder = "album"', 'zone = "Mars"'), "line 5: .*unknown time zone"),
                (device("d", 'folder = "album"', 'interval = "24h"', 'quiet = "23:00-01:00"'),
                 "line 6: .*quiet hours leave no time"),
                (device("d", 'folder = "album"').replace('size = "24x16"\n', ""),
                 "its panel tells no size")]:
            pathlib.Path("wrong.toml").write_text(line)
            prefix = "" if "its panel" in message else r"wrong.toml: "
            self.refused("serve wrong.toml",
                         prefix + (message if prefix else "device d: " + message), timeout=60)

    def test_examples_show_the_frame(self):
        service = self.serve(TOP + KITCHEN)
        subprocess.run([sys.executable, EXAMPLES / "device.py", f"http://127.0.0.1:{service.port}",
                        "kitchen", "shown", "--battery", "80", "--count", "1"], check=True)
        self.assertEqual(pathlib.Path("shown").read_bytes(),
                         service.ask("/devices/kitchen/frame").body)
        compiler = os.environ.get("CC", "cc").split()
        subprocess.run([*compiler, "-std=c99", "-Wall", "-Wextra", "-Werror", "-D_DEFAULT_SOURCE",
                        EXAMPLES / "device.c", "-lcurl", "-o", "device"], check=True)
        big = device("big", 'picture = "photo.png"').replace("24x16", "200x100")
        service = self.serve(TOP + big)
        subprocess.run(["./device", f"http://127.0.0.1:{service.port}/devices/big/frame", "shown",
                        "", "1"], check=True)
        self.assertEqual(pathlib.Path("shown").read_bytes(), service.ask("/devices/big/frame").body)
        fleet = subprocess.run(
            [sys.executable, EXAMPLES / "fleet.py", COMMAND, "panel.lut", "--devices", "60",
             "--pictures", "14", "--minutes", "60", "--kills", "1", "--size", "24x16"],
            capture_output=True, text=True, check=True)
        self.assertRegex(fleet.stdout, r"60 devices, \d+ frames: none lost, none repeated")


if __name__ == "__main__":
    unittest.main()
