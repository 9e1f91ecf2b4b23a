"""Panel descriptions and the packages made of them."""

import itertools
import json
import os
import pathlib
import pickle
import re
import struct
import subprocess
import unittest
import zlib
from unittest import mock

import numpy as np
import oxel
from command_case import COMMAND, INKS, KERNELS, PANEL, PHOTO, CommandCase, colours_of
from PIL import Image

K = {"name": "k", "rgb": [0, 0, 0], "tcon": 7}
W = {"name": "w", "lab": [100, 0, 0], "tcon": 9}


def describe(**keys):
    return json.dumps({"name": "p", "colours": [K, W], **keys})


def second(**keys):
    return describe(colours=[K, {"name": "w", "tcon": 9, **keys}])


class Panels(CommandCase):
    def test_the_key_of_a_bad_description_is_named(self):
        sizes = "colours: must be an array of 2 to 256 elements"
        for text, message in (
                ("", "not JSON: parse error at line 1, column 1"),
                ('{\n"name" 1}', "not JSON: parse error at line 2, column 8"),
                ("[]", "must be an object"),
                ('{"name": "p", "colors": []}', 'unknown key "colors"'),
                ('{"name": "p"}', "colours: is missing"),
                ('{"name": "q", ' + describe()[1:], 'key "name" is given twice'),
                (describe(name=1), "name: must be a string"),
                (describe(width=1), "height: is missing"),
                (describe(width=0, height=1), "width: must be an integer"),
                (describe(width=99999, height=99999), "width x height"),
                (describe(tft_layout=6), "tft_layout: must be an integer"),
                (describe(colours=[]), sizes), (describe(colours=257 * [K]), sizes),
                (describe(colours=[K, {"rgb": [0, 0, 0], "tcon": 0}]), "colours[1].name: is missing"),
                (second(), "colours[1]: must have one of rgb and lab"),
                (second(rgb=[1, 1, 1], lab=[1, 1, 1]), "colours[1]: must have one of rgb and lab"),
                (second(rgb=[0, 256, 0]), "colours[1].rgb[1]: must be an integer from 0 to 255"),
                (second(rgb=[0, 0.5, 0]), "colours[1].rgb[1]: must be an integer from 0 to 255"),
                (second(rgb=[0, 0]), "colours[1].rgb: must be an array of 3 elements"),
                (second(lab=[101, 0, 0]), "colours[1].lab[0]: must be a number from 0 to 100"),
                (second(rgb=[0, 0, 0], tcon=-1), "colours[1].tcon: must be an integer from 0 to 255")):
            pathlib.Path("bad.json").write_text(text)
            self.refused("package build bad.json -o frame", "bad.json: " + re.escape(message))

    def test_doubtful_colours_are_told(self):
        pathlib.Path("odd.json").write_text(second(lab=[50, -120, 0], tcon=7))
        self.oxel("package build odd.json -o odd.lut")
        for key in ("lab", "tcon"):
            self.assertIn(f"odd.json: colours[1].{key}: warning: ", self.errors)

    def test_packages_are_built_alike_and_damaged_ones_refused(self):
        pathlib.Path("p.json").write_text(describe())
        for name in "ab":
            self.oxel(f"package build p.json -o {name}.lut")
        whole = pathlib.Path("a.lut").read_bytes()
        self.assertEqual(pathlib.Path("b.lut").read_bytes(), whole)
        self.oxel("package info a.lut")
        damaged = [whole[:n] for n in (0, 27, 28, 31, 32, 40, 700000, len(whole) - 1)]
        damaged += [whole[:n] + b"\xFF" + whole[n + 1:] for n in range(10, 28)]
        for package in damaged:
            pathlib.Path("damaged").write_bytes(package)
            self.refused("package info damaged", "damaged: ")

    def test_a_panel_gives_its_layout_and_size(self):
        Image.fromarray(np.array([[0, 255, 255, 255], [255, 255, 255, 0]], np.uint8)).save("photo.png")
        for keys, options, expected in (
                ({"tft_layout": 1}, "", "79999997"), ({"tft_layout": 3}, "", "99977999"),
                ({"tft_layout": 5}, "", "99799799"),
                ({"width": 9, "height": 9}, "--size 4x2 --fit stretch", "79999997"),
                ({"width": 2, "height": 1}, "--fit stretch", None)):
            pathlib.Path("p.json").write_text(describe(**keys))
            self.oxel("render photo.png --panel p.json -o frame", options)
            frame = pathlib.Path("frame").read_bytes()
            self.assertEqual("".join(map(str, frame)) if expected else len(frame), expected or 2)
        pathlib.Path("p.json").write_text(describe(tft_layout=1))
        self.refused("render photo.png --panel p.json -o f --size 2x3", "p.json: tft_layout 1 would drop")
        self.oxel("render photo.png --panel six-colour -o frame --preview p.png --nominal n.png")
        self.assertEqual(pathlib.Path("frame").stat().st_size, 1600 * 1200)

    def test_charts_show_each_colour_in_the_driving_layout(self):
        pathlib.Path("p.json").write_text(json.dumps({
            "name": "charted", "width": 6, "height": 4, "tft_layout": 1, "colours": [
                {"name": "<k & co>", "rgb": [10, 20, 30], "tcon": 200},
                {"name": "paper", "rgb": [240, 241, 242], "tcon": 7}]}))
        out = self.oxel("chart patches --panel p.json -o charts --size 8x2", OXEL_PANEL="six-colour")
        self.assertEqual(len(out.splitlines()), 4)
        for i, (rgb, code) in enumerate((((10, 20, 30), 200), ((240, 241, 242), 7))):
            patch = colours_of(f"charts/colour-0{i}.png")
            self.assertEqual(patch.shape, (2, 8, 3))
            self.assertEqual({tuple(pixel) for pixel in patch.reshape(-1, 3)}, {rgb})
            self.assertEqual(pathlib.Path(f"charts/colour-0{i}.bin").read_bytes(), bytes([code]) * 16)
        self.oxel("package build p.json -o p.lut --report p.html")
        self.oxel("chart gradients --panel p.lut -o charts --size 90x36 --dither jjn")
        gradients = colours_of("charts/gradients.png").astype(int)
        grey = gradients[0]
        np.testing.assert_array_equal(grey, np.floor((np.arange(90) + .5) / 90 * 255 + .5)[:, None]
                                      .repeat(3, 1))
        for band, full in zip(range(1, 7), ((3,), (2,), (4,), (2, 4), (5,), (3, 5))):
            strip = gradients[4 * band + 1]
            self.assertLess(strip[0].max(), 4)
            self.assertGreater(strip[-1].min(), 251)
            self.assertTrue((np.diff(strip, axis=0) >= 0).all(), f"band {band} is not a ramp")
            self.assertGreater(np.ptp(strip[45]), 245)
        self.oxel("render charts/gradients.png --panel p.lut -o f --size 90x36 --dither jjn")
        self.assertEqual(pathlib.Path("f").read_bytes(), pathlib.Path("charts/gradients.bin").read_bytes())
        self.oxel("view charts/gradients.bin --panel p.lut --size 90x36 -o v.png")
        np.testing.assert_array_equal(colours_of("v.png"), colours_of("charts/gradients-preview.png"))
        page = pathlib.Path("p.html").read_text()
        for text in ("charted", "&lt;k &amp; co&gt;", "paper", "<td>200<", "<td>7<", "stucki-serpentine"):
            self.assertIn(text, page)
        for text in ("<k & co>", "http"): # which would need more than the page
            self.assertNotIn(text, page)
        self.oxel("chart scene --panel p.lut -o charts --size 40x30")
        self.oxel("render charts/scene.png --panel p.lut -o f --size 40x30")
        self.assertEqual(pathlib.Path("f").read_bytes(), pathlib.Path("charts/scene.bin").read_bytes())
        self.refused("chart scene --panel p.lut -o frames", "p.lut: has no size")
        self.refused("package build p.json -o frame --report frame.svg", "frame.svg: ")

    def test_keeps_the_packages_of_descriptions(self):
        pathlib.Path("p.json").write_text(json.dumps({"name": "p", "colours": [
            {"name": str(i), "rgb": rgb, "tcon": i} for i, rgb in enumerate(INKS)]}))
        cache = pathlib.Path("cache").resolve()
        environment = {**os.environ, "XDG_CACHE_HOME": str(cache)}
        line = "render photo.png --panel p.json --dither {} -o {}"
        at_once = [subprocess.Popen([COMMAND, *line.format("jjn", i).split()], env=environment,
                                    stdout=subprocess.DEVNULL) for i in range(3)]
        self.assertEqual([process.wait() for process in at_once], [0, 0, 0])
        frame = pathlib.Path("0").read_bytes()
        [entry] = (cache / "oxel").iterdir()
        good = entry.read_bytes()
        self.assertIn("tuned for jjn", self.oxel(f"package info {entry}"))

        def render(cache=cache):
            self.oxel(line.format("jjn", "f"), XDG_CACHE_HOME=str(cache))
            return pathlib.Path("f").read_bytes()

        other = bytearray(good)  # whole, but of other colours than it was built in
        gamut, = struct.unpack_from("<I", good, 20)
        other[gamut:gamut + 3 * 64 ** 3] = bytes(3 * 64 ** 3)
        other[-4:] = struct.pack("<I", zlib.crc32(other[:-4]))
        entry.write_bytes(other)
        self.assertNotEqual(render(), frame, "the entry was not used")
        for damaged in (b"", good[:-1], good[:5000] + b"?" + good[5001:], PANEL.package):
            entry.write_bytes(damaged)
            self.assertEqual(render(), frame)
            self.assertEqual(entry.read_bytes(), good)
        self.assertEqual(render("/dev/null"), frame)
        self.assertEqual(pathlib.Path("1").read_bytes() + pathlib.Path("2").read_bytes(), 2 * frame)
        self.oxel(line.format("stucki", "f"), XDG_CACHE_HOME=str(cache))
        self.assertEqual(len(list((cache / "oxel").iterdir())), 2, "a package for each kernel")

    def test_python_renders_a_description_like_the_command(self):
        pathlib.Path("p.json").write_text(json.dumps({"name": "p", "colours": [
            {"name": str(i), "rgb": rgb, "tcon": i} for i, rgb in enumerate(INKS)]}))
        cache = pathlib.Path("cache").resolve()
        with mock.patch.dict(os.environ, XDG_CACHE_HOME=str(cache)):
            panel = oxel.Panel.from_file("p.json")
            frames = {}
            for dither, serpentine in itertools.product(KERNELS, (False, True)):
                name = dither + "-serpentine" * serpentine
                self.oxel(f"render photo.png --panel p.json --dither {name} -o frame")
                frames[name] = panel.render(PHOTO, dither, serpentine)[..., 0].tobytes()
                self.assertEqual(pathlib.Path("frame").read_bytes(), frames[name], name)
            copy = pickle.loads(pickle.dumps(panel))
            self.assertEqual(copy.render(PHOTO, "jjn", False)[..., 0].tobytes(), frames["jjn"])
            self.assertEqual(len(list((cache / "oxel").iterdir())), len(KERNELS), "a package for each kernel")
            for tune in ("all", "stucki"):
                self.oxel(f"package build p.json -o p.lut --tune {tune}")
                package = pathlib.Path("p.lut").read_bytes()
                self.assertEqual(oxel.build_package(pathlib.Path("p.json").read_text(), tune),
                                 package)
                self.assertEqual(panel.package == package, tune == "all")


if __name__ == "__main__":
    unittest.main()
