"""Faults around the oxel command: it ends with one line that says what and where, and every file
that it leaves is whole."""

import os
import pathlib
import resource
import signal
import struct
import subprocess
import threading
import time
import unittest
import zlib

import numpy as np
from command_case import COMMAND, CommandCase
from PIL import Image

PHOTO = Image.fromarray(np.random.default_rng(3).integers(0, 256, (48, 64, 3), np.uint8))


class Faults(CommandCase):
    def setUp(self):
        super().setUp()
        PHOTO.save("photo.png")

    def test_outputs_that_cannot_be_written(self):
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))
        self.refused("render photo.png --panel panel.lut -o frame", "frame: ", preexec_fn=limit)
        pathlib.Path("old").write_text("old")
        os.mkdir("folder")
        render = "render photo.png --panel panel.lut -o frame --preview "
        for arguments, message in (
                ("render photo.png --panel panel.lut -o /proc/self/frame", "/proc/self/frame: "),
                ("render photo.png --panel panel.lut -o none/frame", "none/frame: "),
                (render + "none/p.png", "none/p.png: "), (render + "folder", "folder: "),
                (render + "./frame", "./frame: is named for two outputs"),
                (render + "panel.lut", "panel.lut: "), (render + "folder/../panel.lut", "folder/../panel.lut: "),
                (render + "old --nominal n.png", "panel.lut: --nominal needs"),
                (render.replace("photo", "none") + "old", "none.png: ")):
            self.refused(arguments, message)
        self.assertEqual(pathlib.Path("old").read_text(), "old")
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
                self.refused("render cut --panel panel.lut -o frame", "cut: ")

    def test_pictures_that_are_far_too_large(self):
        header = struct.pack(">4sIIBBBBB", b"IHDR", 60000, 60000, 8, 2, 0, 0, 0)
        pathlib.Path("big.png").write_bytes(b"\x89PNG\r\n\x1a\n" + struct.pack(">I", 13) + header +
                                            struct.pack(">I", zlib.crc32(header)))
        pathlib.Path("big.ppm").write_bytes(b"P6 60000 60000 255\n")
        os.truncate("big.ppm", 3 * 60000 ** 2 + 19)  # sparse
        for big in ("big.png", "big.ppm"):
            self.refused(f"render {big} --panel panel.lut -o frame", f"{big}: ")

    def test_a_package_that_changes_while_it_is_read(self):
        package = bytearray(pathlib.Path("panel.lut").read_bytes())
        stop = threading.Event()

        def rewrite():
            while not stop.is_set():
                package[0] ^= 255
                package[-4:] = struct.pack("<I", zlib.crc32(package[:-4]))
                pathlib.Path("changing").write_bytes(package)

        writer = threading.Thread(target=rewrite)
        writer.start()
        for _ in range(12):
            done = subprocess.run([COMMAND, *"render photo.png --panel changing -o frame".split()], capture_output=True)
            if done.returncode == 1:
                self.assertRegex(done.stderr.decode(), r"\Aoxel: changing: [^\n]+\n\Z")
            self.assertIn(done.returncode, (0, 1))
        stop.set()
        writer.join()

    def test_killed_in_the_middle_of_a_batch(self):
        for i in range(200):
            os.makedirs("photos", exist_ok=True)
            os.link("photo.png", f"photos/{i}.png")
        arguments = "render photos --panel panel.lut -o frames --resume".split()
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
