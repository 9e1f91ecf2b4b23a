"""Faults around the oxel command: it ends with one line that says what and where, and every file
that it leaves is whole."""

import os
import pathlib
import resource
import signal
import struct
import subprocess
import tempfile
import threading
import time
import unittest
import zlib

import numpy as np
from PIL import Image

COMMAND = os.environ["OXEL_COMMAND"]
PHOTO = Image.fromarray(np.random.default_rng(3).integers(0, 256, (48, 64, 3), np.uint8))


class Faults(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        PHOTO.save("photo.png")
        colours = ",".join(f'{{"name": "{i}", "rgb": [{i}, {i}, {i}], "tcon": {i}}}' for i in (9, 250))
        pathlib.Path("panel.json").write_text(f'{{"name": "p", "colours": [{colours}]}}')
        subprocess.run([COMMAND, *"package build panel.json -o p.lut".split()], check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def render(self, arguments, **options):
        return subprocess.run([COMMAND, "render", *arguments.split()], capture_output=True, **options)

    def refused(self, arguments, name, **options):
        before = set(os.listdir())
        done = self.render(arguments, **options)
        self.assertEqual(done.returncode, 1, done)
        self.assertRegex(done.stderr.decode(), rf"\Aoxel: {name}: [^\n]+\n\Z")
        self.assertEqual(set(os.listdir()), before)

    def test_outputs_that_cannot_be_written(self):
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))
        self.refused("photo.png --panel p.lut -o frame", "frame", preexec_fn=limit)
        self.refused("photo.png --panel p.lut -o /proc/self/frame", "/proc/self/frame")
        self.refused("photo.png --panel p.lut -o none/frame", "none/frame")
        with open("/dev/full", "w") as full:
            done = subprocess.run([COMMAND, "panels"], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual((done.returncode, done.stderr),
                         (1, b"oxel: standard output: cannot be written\n"))

    def test_pictures_cut_at_every_tenth(self):
        for suffix in ("png", "jpg", "tif", "gif", "webp", "ppm"):
            PHOTO.save("whole." + suffix)
            whole = pathlib.Path("whole." + suffix).read_bytes()
            for tenths in range(10):
                pathlib.Path("cut").write_bytes(whole[:len(whole) * tenths // 10])
                self.refused("cut --panel p.lut -o frame", "cut")

    def test_pictures_that_are_far_too_large(self):
        header = struct.pack(">4sIIBBBBB", b"IHDR", 60000, 60000, 8, 2, 0, 0, 0)
        pathlib.Path("big.png").write_bytes(b"\x89PNG\r\n\x1a\n" + struct.pack(">I", 13) + header +
                                            struct.pack(">I", zlib.crc32(header)))
        pathlib.Path("big.ppm").write_bytes(b"P6 60000 60000 255\n")
        os.truncate("big.ppm", 3 * 60000 ** 2 + 19)  # sparse
        for big in ("big.png", "big.ppm"):
            self.refused(f"{big} --panel p.lut -o frame", big)

    def test_a_package_that_changes_while_it_is_read(self):
        package = bytearray(pathlib.Path("p.lut").read_bytes())
        stop = threading.Event()

        def rewrite():
            while not stop.is_set():
                package[0] ^= 255
                package[-4:] = struct.pack("<I", zlib.crc32(package[:-4]))
                pathlib.Path("changing").write_bytes(package)

        writer = threading.Thread(target=rewrite)
        writer.start()
        for _ in range(12):
            done = self.render("photo.png --panel changing -o frame")
            if done.returncode == 1:
                self.assertRegex(done.stderr.decode(), r"\Aoxel: changing: [^\n]+\n\Z")
            self.assertIn(done.returncode, (0, 1))
        stop.set()
        writer.join()

    def test_killed_in_the_middle_of_a_batch(self):
        for i in range(200):
            os.makedirs("photos", exist_ok=True)
            os.link("photo.png", f"photos/{i}.png")
        arguments = "render photos --panel p.lut -o frames --resume".split()
        for _ in range(3):
            batch = subprocess.Popen([COMMAND, *arguments], stdout=subprocess.DEVNULL)
            start = len(list(pathlib.Path().glob("frames/*.bin")))
            while batch.poll() is None and len(list(pathlib.Path().glob("frames/*.bin"))) < start + 5:
                time.sleep(0.001)
            batch.kill()
            self.assertIn(batch.wait(), (-signal.SIGKILL, 0))
            for frame in pathlib.Path().glob("frames/*.bin"):
                self.assertEqual(frame.stat().st_size, 64 * 48)
        subprocess.run([COMMAND, *arguments], check=True, stdout=subprocess.DEVNULL)
        frames = {frame.read_bytes() for frame in pathlib.Path().glob("frames/*.bin")}
        self.assertEqual((len(frames), sorted(os.listdir("frames"))),
                         (1, sorted([".oxel-render.json", *(f"{i}.png.bin" for i in range(200))])))


if __name__ == "__main__":
    unittest.main()
