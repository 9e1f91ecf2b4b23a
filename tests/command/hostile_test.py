"""Pictures that strangers send to hurt: each costs itself, one line and no more than the limits, and
the photographs beside it come out."""

import base64
import contextlib
import io
import itertools
import os
import pathlib
import re
import signal
import struct
import subprocess
import sys
import tempfile
import threading
import unittest
import zlib

import numpy as np
from PIL import Image

COMMAND = os.environ["OXEL_COMMAND"]
PHOTO = np.random.default_rng(3).integers(0, 256, (48, 64, 3), np.uint8)


def svg(body, width=100, height=100):
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}">{body}'
            "</svg>").encode()


def png(width, height, interlaced=0, pixels=b""):
    chunk = lambda name, data: (struct.pack(">I", len(data)) + name + data +
                                struct.pack(">I", zlib.crc32(name + data)))
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, interlaced)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", pixels) + chunk(b"IEND", b"")


def gif(width, height):
    return (b"GIF89a" + struct.pack("<HHBBB", width, height, 0, 0, 0) + b"," +
            struct.pack("<HHHHB", 0, 0, width, height, 0x80) + bytes(6) + b"\2\2\x4c\1\0;")


def saved(mode, size, form, **options):
    file = io.BytesIO()
    Image.new(mode, size).save(file, form, **options)
    return file.getvalue()


def image(reference):
    return svg(f'<image href="{reference}" width="100" height="100"/>')


RED = "data:image/png;base64," + base64.b64encode(saved("RGB", (8, 8), "png")).decode()
# A small process that starts a command and prints its exit code, seconds and kilobytes.
MEASURE = """if 1:
    import resource, subprocess, sys
    code = subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL).returncode
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    print(code, usage.ru_utime + usage.ru_stime, usage.ru_maxrss)"""
COMMENT = b"<!--" + b"x" * 2000 + b"-->"
MEMORY, PIXELS = "512 MB that --max-memory", "250 million that --max-pixels"
# File, bytes, and what is said of it: nothing if it is rendered.
HOSTILE = [
    ("nested.jpg", COMMENT + svg("<g>" * 2000 + "</g>" * 2000), "known file format"),
    ("nested.svg", svg("<g>" * 2000 + "</g>" * 2000), "depth"),
    ("reference.jpg", COMMENT + image("black.png"), "known file format"),
    ("tall.svg", svg("", 1, 300), None),
    ("tall2.svg", svg("", 1, 300), None),
    ("paths.svg", svg('<path d="M0 0h9v9z"/>' * 10 ** 6), MEMORY + "|--timeout allows"), # first reached
    ("noise.svg", svg('<filter id="f">' + '<feTurbulence numOctaves="9" baseFrequency=".1"/>' * 300 +
                      '</filter><rect width="100" height="100" filter="url(#f)"/>'), "--timeout allows"),
    ("bits.pbm", b"P1 4000 4000 ", "too early"),
    ("few.pgm", b"P2 3 1 255 1 2", "too early"),
    ("few.ppm", b"P3 64 48 255 1 2 3", "too early"),
    ("words.ppm", b"P3 2 1 255 abc def hij", "numbers"),
    ("empty.pgm", b"P5 0 0 255\n", "no pixels"),
    ("large.webp", bytes.fromhex("524946461a000000574542505650384c0e0000002ffebfff0f071011fd0f4444ff03"), MEMORY + "|" + PIXELS),
    ("large.gif", gif(15000, 15000), MEMORY),
    ("huge.gif", gif(50000, 20000), PIXELS),
    ("interlaced.png", png(15000, 15000, 1), MEMORY),
    ("huge.png", png(60000, 60000), PIXELS),
    ("cut.jpg", b"8BPS\0\1" + bytes(6) + b"\0\3\0\0\0\x30\0\0\0\x40\0\x08\0\3", "PSD"),
    ("cut.png", saved("RGB", (64, 48), "sgi")[:600], "SGI"),
    ("bitmap.bmp", saved("RGB", (64, 48), "bmp"), "BMP"),
    ("document.png", b"%PDF-1.4\n%%EOF\n", "PDF"),
    ("tall-cut.jpg", saved("L", (64, 4000), "jpeg")[:-60], "end of input|premature end"),
]


class Hostile(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        os.mkdir("photos")
        Image.fromarray(PHOTO).save("photo.png")
        colours = ",".join(f'{{"name": "{i}", "rgb": [{i}, {i}, {i}], "tcon": {i}}}' for i in (9, 250))
        pathlib.Path("panel.json").write_text(f'{{"name": "p", "colours": [{colours}]}}')
        self.oxel("package build panel.json -o p.lut")

    def start(self, arguments):
        return subprocess.Popen([COMMAND, *arguments.split()], stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE)

    def oxel(self, arguments, code=0):
        process = self.start(arguments)
        told = process.communicate()[1].decode()
        self.assertEqual(process.returncode, code, told)
        return told

    def frame(self, photo, options=""):
        self.oxel(f"render {photo} --panel p.lut -o frame {options}")
        return pathlib.Path("frame").read_bytes()

    def good_photos(self, count):
        for i in range(count):
            Image.fromarray(PHOTO + np.uint8(i)).save(f"photos/good{i}.png")
        return {f"good{i}.png.bin" for i in range(count)}

    def test_each_costs_itself_and_what_it_may(self):
        good = self.good_photos(3)
        refused = 0
        for (name, contents, reason), fit in zip(HOSTILE, itertools.cycle(("cover", "contain"))):
            pathlib.Path("photos", name).write_bytes(contents)
            command = f"render photos/{name} --panel p.lut --size 1600x1200 --fit {fit} -o f"
            done = subprocess.run([sys.executable, "-c", MEASURE, COMMAND, *command.split()],
                                  capture_output=True, text=True)
            told = done.stderr
            code, seconds, kilobytes = map(float, done.stdout.split())
            self.assertEqual(code, 0 if reason is None else 1, (name, told))
            if reason is not None:
                self.assertRegex(told, rf"\Aoxel: photos/{name}: [^\n]*({reason})[^\n]*\n\Z")
            self.assertLess(seconds, 11, name) # with the command itself
            if "ASAN_OPTIONS" not in os.environ: # which limits no memory
                self.assertLess(kilobytes, 512e6 / 1024, name)
            refused += reason is not None
        told = self.oxel("render photos --panel p.lut --size 1600x1200 -o frames --timeout 2", code=1)
        self.assertEqual(told.count("\n"), refused + 1)
        self.assertLessEqual(good, set(os.listdir("frames")))

    def test_no_other_file_is_in_the_frame(self):
        Image.new("RGB", (8, 8)).save("black.png")
        pathlib.Path("none.svg").write_bytes(svg(""))
        for reference in ("black.png", os.path.abspath("black.png"), "file://" + os.path.abspath("black.png")):
            pathlib.Path("other.svg").write_bytes(image(reference))
            self.assertEqual(self.frame("other.svg"), self.frame("none.svg"))
        pathlib.Path("own.svg").write_bytes(image(RED))
        self.assertNotEqual(self.frame("own.svg"), self.frame("none.svg"))

    def test_limits_can_be_raised(self):
        for name, contents, option in (
                ("photos/a.gif", gif(3000, 2000), "--max-memory 40"),
                ("photos/a.png", saved("RGB", (1500, 1000), "png"), "--max-pixels 1")):
            pathlib.Path(name).write_bytes(contents)
            told = self.oxel(f"render {name} --panel p.lut --size 8x8 -o f {option}", code=1)
            self.assertIn(option.split()[0], told)
            self.frame(name, "--size 8x8")

    def test_a_picture_that_is_rewritten_costs_itself(self):
        whole = saved("RGB", (900, 900), "ppm")
        stop = threading.Event()

        def rewrite():
            while not stop.is_set():
                pathlib.Path("photos/changing.ppm").write_bytes(whole)
        writer = threading.Thread(target=rewrite)
        writer.start()
        for _ in range(20):
            process = self.start("render photos/changing.ppm photo.png --panel p.lut -o frames/ --jobs 1")
            told = process.communicate()[1].decode()
            self.assertIn(process.returncode, (0, 1), told)
            self.assertNotIn("photo.png", told)
        stop.set()
        writer.join()

    def test_decoders_that_die(self):
        good = self.good_photos(12)
        process = self.start("render photos --panel p.lut -o frames --jobs 2")
        kills = 0
        while process.poll() is None:
            for task in pathlib.Path(f"/proc/{process.pid}/task").glob("*/children"):
                with contextlib.suppress(OSError, IndexError):
                    os.kill(int(task.read_text().split()[0]), signal.SIGSEGV)
                    kills += 1
        told = process.communicate()[1].decode()
        self.assertGreater(kills, 0)
        lost = {f"{name}.bin" for name in re.findall(r"photos/(\S+): its decoder", told)}
        self.assertEqual(set(os.listdir("frames")) - {".oxel-render.json"}, good - lost, told)

    def test_two_batches_in_one_folder(self):
        self.good_photos(30)
        render = "render photos --panel p.lut --resume -o frames"
        self.oxel("render photos --panel p.lut --contrast 40 -o wanted")
        for _ in range(3):
            both = [self.start(f"{render} --contrast {amount}") for amount in (-40, 40)]
            self.assertEqual([process.wait() for process in both], [0, 0])
            [process.communicate() for process in both]
            self.oxel(f"{render} --contrast 40")
            for frame in pathlib.Path("frames").glob("*.bin"):
                self.assertEqual(frame.read_bytes(), pathlib.Path("wanted", frame.name).read_bytes())

    def test_an_older_photograph_in_the_place_of_another(self):
        self.good_photos(1)
        self.oxel("render photos --panel p.lut -o frames")
        Image.fromarray(255 - PHOTO).save("photos/good0.png")
        os.utime("photos/good0.png", (1e9, 1e9))
        self.oxel("render photos --panel p.lut -o frames --resume")
        self.assertEqual(pathlib.Path("frames/good0.png.bin").read_bytes(), self.frame("photos/good0.png"))

    def test_outputs_keep_their_modes(self):
        pathlib.Path("frame").touch()
        os.chmod("frame", 0o640)
        self.frame("photo.png")
        self.assertEqual(os.stat("frame").st_mode & 0o777, 0o640)
        os.chmod("frame", 0o440)
        self.assertIn("read-only", self.oxel("render photo.png --panel p.lut -o frame", code=1))
        self.assertIn("picture", self.oxel("render photo.png --panel p.lut -o x.jpg", code=2))

    def test_terminals(self):
        name = "\x1b[31m\x9b\u202e\u2066\xe9"
        told = self.oxel(f"render {name} --panel p.lut -o f", code=1)
        self.assertEqual(told, r"oxel: \x1B[31m\xC2\x9B\xE2\x80\xAE\xE2\x81\xA6\u00e9: no such file".replace(
            r"\u00e9", "\xe9") + "\n")
        pathlib.Path("c.toml").write_text("[render]\n" + "k" * 10 ** 6 + " = 1\n")
        self.assertLess(len(self.oxel("render photo.png --panel p.lut -o f --config c.toml", code=2)), 10000)


if __name__ == "__main__":
    unittest.main()
