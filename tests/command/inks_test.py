"""Flat colours and text: what is ink in a picture, and what is left to the diffusion."""

import gzip
import json
import os
import pathlib
import shutil
import struct
import subprocess
import unittest

import numpy as np
from PIL import Image, ImageDraw, ImageFont

from command_case import COMMAND, INKS, PANEL, CommandCase, colours_of

BLACK, WHITE, RED, BLUE = range(4)
PURE = [(0, 0, 0), (255, 255, 255), (255, 0, 0), (0, 0, 255)]
FONT = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"
DASHBOARD = pathlib.Path(__file__).parents[2] / "examples/dashboard"
SVG = ('<svg xmlns="http://www.w3.org/2000/svg" width="200" height="40" {}><rect width="200" height="40" '
       'fill="white"/><text x="4" y="24" font-family="DejaVu Sans" font-size="12">Morning</text></svg>')


def waves(height, width, gain):
    """Like a photograph: smooth, a little noisy; with more gain, too light and too dark in places."""
    y, x, c = np.meshgrid(np.arange(height), np.arange(width), np.arange(3), indexing="ij")
    wave = np.sin(x / 17 + c) + np.cos(y / 11 - c / 2) + np.sin((x + y) / 29)
    noise = np.random.default_rng(5).normal(0, 2, wave.shape)
    return np.clip(128 + gain * wave + noise, 0, 255).astype(np.uint8)


def text(size, ground, ink):
    picture = Image.new("RGB", (22 * size, 5 * size), ground)
    ImageDraw.Draw(picture).multiline_text((size, size), "Quick brown fox 1945\njumps over lazy dogs", ink,
                                           ImageFont.truetype(FONT, size))
    return np.asarray(picture)


class Inks(CommandCase):
    def inks(self, picture, options="", name="picture.png"):
        """The palette index of each pixel."""
        height, width = picture.shape[:2]
        Image.fromarray(picture).save(name)
        self.oxel(f"render {name} --panel panel.lut -o frame --output index", options)
        return np.fromfile("frame", np.uint8).reshape(height, width)

    def test_text_has_no_other_colours(self):
        for size in (9, 12, 18):
            for ground, ink in ((WHITE, BLACK), (BLACK, WHITE), (WHITE, RED), (BLUE, WHITE)):
                picture = text(size, PURE[ground], PURE[ink])
                found = self.inks(picture)
                drawn = (picture != PURE[ground]).any(-1)
                other = (found != ground) & (found != ink)
                self.assertLessEqual(other.sum(), 0.005 * drawn.sum(), (size, ground, ink))
                away = np.abs(picture - np.array(PURE[ink], int)).max(-1)
                self.assertTrue((found[away < 20] == ink).all())
                self.assertTrue((found[~drawn] == ground).all())

    def test_flat_colours_are_ink_as_chosen(self):
        page = np.full((40, 200, 3), 140, np.uint8)
        for i, colour in enumerate(PURE + INKS):
            page[8:32, 4 + 24 * i:20 + 24 * i] = colour
        plain = self.inks(page, "--inks off")
        for inks, chosen in (("auto", range(8)), ("nominal", range(4)), ("measured", range(4, 8))):
            found = self.inks(page, f"--inks {inks}")
            np.testing.assert_array_equal(found, PANEL.render(page, inks=inks)[..., 0].max(initial=3) -
                                          PANEL.render(page, inks=inks)[..., 0])
            for i in range(8):
                box = found[8:32, 4 + 24 * i:20 + 24 * i]
                if i in chosen:
                    self.assertTrue((box == i % 4).all(), (inks, i))
                else:  # as without inks, but for what is beside the next box
                    np.testing.assert_array_equal(box, plain[8:32, 4 + 24 * i:20 + 24 * i])
        for options in ("--no-prepare", "--guard 1e9"):
            np.testing.assert_array_equal(self.inks(page, options), self.inks(page, options + " --inks off"))

    def test_smoothed_edges_become_the_nearer_ink(self):
        for left, right in ((BLACK, WHITE), (RED, BLUE), (WHITE, RED)):
            for share in (0.1, 0.3, 0.45, 0.55, 0.7, 0.9):
                page = np.full((40, 60, 3), PURE[left], np.uint8)
                page[:, 30:] = PURE[right]
                page[:, 30] = np.rint((1 - share) * np.array(PURE[left]) + share * np.array(PURE[right]))
                found = self.inks(page)
                self.assertTrue((found[:, 30] == (left if share < 0.5 else right)).all(), (left, right, share))

    def test_photographs_stay_as_they_are(self):
        page = np.full((120, 200, 3), 255, np.uint8)
        page[20:100, 30:130] = waves(80, 100, 30)
        page[20:70, 140:190] = PURE[RED]
        found, plain = self.inks(page), self.inks(page, "--inks off")
        np.testing.assert_array_equal(found[24:96, 34:126], plain[24:96, 34:126])
        self.assertTrue((found[20:70, 140:190] == RED).all() and (found[:20] == WHITE).all())
        for gain in (60, 120, 200):  # too light and too dark in places
            photograph = waves(150, 200, gain)
            changed = self.inks(photograph) != self.inks(photograph, "--inks off")
            self.assertLess(changed.mean(), 0.001, gain)

    def test_forms_agree(self):
        page = np.concatenate([text(12, (255, 255, 255), (255, 0, 0)), waves(60, 264, 60)])
        for options in ("", "--dither none"):
            found = self.inks(page, options + " --preview preview.png")
            np.testing.assert_array_equal(colours_of("preview.png"), PANEL.palette[found])
        gamut, quantisation = struct.unpack_from("<II", PANEL.package, 20)
        cell = lambda rgb: (rgb >> 2) @ np.array([4096, 64, 1])
        mapped = np.frombuffer(PANEL.package, np.uint8)[gamut:gamut + 3 * 64**3].reshape(-1, 3)[cell(page.astype(int))]
        expected = np.frombuffer(PANEL.package, np.uint8)[quantisation:][cell(mapped.astype(int))]
        np.testing.assert_array_equal(found, expected)
        for order, picture in (("rgb", page), ("bgr", page[..., ::-1])):
            for dither in ("none", "floyd"):
                frame = PANEL.render(picture, dither, order=order)
                np.testing.assert_array_equal(frame, PANEL.render_all(picture, dither, order=order).tcon)
                self.inks(page, "--dither " + ("none" if dither == "none" else "floyd-serpentine"))
                np.testing.assert_array_equal(3 - frame[..., 0].ravel(), np.fromfile("frame", np.uint8))

    def test_text_of_drawings_is_not_smoothed(self):
        own = SVG.format('text-rendering="geometricPrecision"')
        for name, content, smooth in (
                ("plain.svg", SVG.format(""), False),
                ("prolog.svg", '<?xml version="1.0"?><!-- <svg> --><!DOCTYPE svg [<!ENTITY a "b">]>' +
                 SVG.format("").replace("svg", "s:svg", 1).replace("xmlns", 'xmlns:s="http://www.w3.org/2000/svg" '
                                        'xmlns', 1).replace("</svg>", "</s:svg>"), False),
                ("own.svg", own, True)):
            pathlib.Path(name).write_text(content)
            for inks in ("auto", "off"):
                self.oxel(f"compare {name} --panel panel.lut --size 400x80 -o sheet.png --inks {inks}")
                colours = Image.fromarray(colours_of("sheet.png")[28:108, :400]).getcolors()
                self.assertEqual(len(colours) > 2, smooth or inks == "off", (name, inks))
        pathlib.Path("packed.svg").write_bytes(gzip.compress(SVG.format("").encode()))
        self.oxel("render packed.svg --panel panel.lut -o frame")

    def test_a_dashboard_is_drawn_from_its_data(self):
        if not shutil.which("chromium"):
            self.skipTest("there is no Chromium to draw a page")
        environment = {**os.environ, "OXEL": COMMAND}
        environment.pop("LD_PRELOAD", None)  # a sanitizer's runtime, under which Chromium hangs
        data = json.loads((DASHBOARD / "dashboard.json").read_text())
        data["photograph"] = str(DASHBOARD / data["photograph"])
        frames = []
        for day in ("2026-11-25", "2027-02-03"):
            pathlib.Path("data.json").write_text(json.dumps(data | {"date": day}))
            subprocess.run([DASHBOARD / "dashboard.sh", "frame", "panel.lut", "800x480", "--output", "index"],
                           check=True, capture_output=True, timeout=300, env={**environment,
                               "PAGE": f"file://{DASHBOARD}/dashboard.html?{os.path.abspath('data.json')}"})
            frames.append(np.fromfile("frame", np.uint8).reshape(480, 800))
        for frame in frames:
            calendar, weather = frame[12:160, 12:436], frame[12:234, 448:788]
            self.assertTrue(np.isin(calendar, (BLACK, WHITE, RED, BLUE)).all())
            self.assertGreater((calendar == BLACK).sum(), 1000)
            self.assertGreater((weather == BLACK).mean(), 0.8)
            self.assertTrue((frame[:12] == WHITE).all())
        self.assertGreater((frames[0] != frames[1])[12:160, 12:436].sum(), 500)


if __name__ == "__main__":
    unittest.main()
