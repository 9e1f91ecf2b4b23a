"""Tests of the Python package: its promises about images, errors and threads, and its examples."""

import doctest
import itertools
import pathlib
import subprocess
import sys
import tempfile
import threading
import unittest

import numpy as np
import oxel
from PIL import Image

INKS = [{"name": "k", "rgb": [0, 0, 0], "tcon": 7}, {"name": "w", "rgb": [255, 255, 255], "tcon": 9}]
COLOUR = oxel.Panel.builtin()
TWO = oxel.Panel.from_json({"name": "two", "width": 5, "height": 4, "tft_layout": 3, "colours": INKS})
PICTURE = np.random.default_rng(1).integers(0, 256, (40, 30, 3), np.uint8)
DITHERS = list(itertools.product(("floyd", "jjn", "stucki"), (False, True)))


def load_tests(_loader, tests, _pattern):
    for module in (oxel._images, oxel._panel):
        tests.addTests(doctest.DocTestSuite(module))
    return tests


class Images(unittest.TestCase):
    def test_every_form_of_the_same_picture_renders_alike(self):
        padded = np.zeros((40, 60, 4), np.uint8)
        padded[:, ::2, 1:] = PICTURE
        frozen = PICTURE.copy()
        frozen.flags.writeable = False
        for dither, serpentine in DITHERS:
            expected = COLOUR.render(PICTURE, dither, serpentine, "eo")
            forms = [frozen, padded[:, ::2, 1:], PICTURE[::-1, ::-1].copy()[::-1, ::-1],
                     Image.fromarray(PICTURE), Image.fromarray(PICTURE).convert("RGBA")]
            for form in forms:
                result = COLOUR.render(form, dither, serpentine, "eo")
                self.assertEqual(isinstance(form, np.ndarray), isinstance(result, np.ndarray))
                np.testing.assert_array_equal(result, expected)
            swapped = COLOUR.render(PICTURE[..., ::-1], dither, serpentine, "eo", order="bgr")
            np.testing.assert_array_equal(swapped[..., ::-1], expected)
            np.testing.assert_array_equal(COLOUR.render_all(PICTURE, dither, serpentine).eo, expected)
            guarded = COLOUR.render_guarded(PICTURE, np.inf, dither, serpentine, "eo")
            np.testing.assert_array_equal(guarded.frame, expected)
            place = PICTURE.copy()
            self.assertIs(COLOUR.render(place, dither, serpentine, "eo", out=place), place)
            np.testing.assert_array_equal(place, expected)

    def test_layouts_undo_each_other(self):
        for layout, inverse in ((0, 0), (1, 4), (2, 5), (3, 3)):
            place = oxel.transfer(PICTURE, layout)
            back = oxel.transfer(place, inverse, copy=False)
            self.assertTrue(np.shares_memory(back, place))
            np.testing.assert_array_equal(back, PICTURE)

    def test_what_is_wrong_is_told(self):
        clear = Image.new("LA", (2, 2))
        np.testing.assert_array_equal(TWO.render(clear), np.full((2, 2, 3), 9))
        frozen = np.zeros((1, 1, 3), np.uint8)
        frozen.flags.writeable = False
        other = {"out": np.zeros((2, 2, 3), np.uint8)}
        for error, message, call in (
            (TypeError, "dtype float64", lambda: TWO.render(PICTURE / 1.0)),
            (TypeError, "mode 'I'", lambda: TWO.render(Image.new("I", (1, 1)))),
            (ValueError, "shape .40, 30.", lambda: TWO.render(PICTURE[..., 0])),
            (ValueError, "dither='none'", lambda: TWO.render(PICTURE, "none")),
            (ValueError, "out: .*shape .40, 30, 3", lambda: TWO.render(PICTURE, **other)),
            (ValueError, "writeable", lambda: TWO.render(frozen, out=frozen)),
            (ValueError, "overlaps", lambda: TWO.render(PICTURE[1:], out=PICTURE[:-1])),
            (ValueError, "hue=", lambda: oxel.adjust(PICTURE, hue=2**31)),
            (oxel.NotSixColours, "status 14", lambda: TWO.render(PICTURE, output="nominal")),
            (oxel.BadSelector, "status 13", lambda: oxel.transfer(PICTURE, 6)),
            (oxel.BadPackageLength, "status 3", lambda: oxel.Panel(b"short")),
            (oxel.BadPackageCRC, "status 4", lambda: oxel.Panel(TWO.package[:-1] + b"?")),
            (oxel.PanelError, "colours: is missing", lambda: oxel.build_package('{"name": "p"}')),
            (oxel.PanelError, "none: no built-in", lambda: oxel.Panel.builtin("none")),
        ):
            self.assertRaisesRegex(error, message, call)
        self.assertEqual((TWO.size, TWO.layout, TWO.codes.tolist()), ((5, 4), 3, [7, 9]))


class Threads(unittest.TestCase):
    def test_two_panels_side_by_side(self):
        expected = {panel: panel.render(PICTURE) for panel in (COLOUR, TWO)}
        wrong = []

        def work(panel):
            for _ in range(20):
                wrong.extend([panel] * bool((panel.render(PICTURE) != expected[panel]).any()))

        threads = [threading.Thread(target=work, args=(panel,)) for panel in [COLOUR, TWO] * 4]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(wrong, [])

    def test_renders_share_a_panel_and_a_switch_waits(self):
        switched = threading.Event()
        both_inside = threading.Barrier(2, timeout=60)

        def render(panel, inside):
            with oxel._panel._adoption.of(panel):
                inside()

        with oxel._panel._adoption.of(TWO):
            reader = threading.Thread(target=render, args=(TWO, both_inside.wait))
            reader.start()
            both_inside.wait()
            reader.join()
            writer = threading.Thread(target=render, args=(COLOUR, switched.set))
            writer.start()
            self.assertFalse(switched.wait(0.05))
        writer.join()
        self.assertTrue(switched.is_set())


class Examples(unittest.TestCase):
    def test_a_folder_on_a_cluster_and_in_a_photo_frame(self):
        examples = pathlib.Path(__file__).parents[2] / "examples"
        with tempfile.TemporaryDirectory() as name:
            root = pathlib.Path(name)
            (root / "photos").mkdir()
            (root / "panel.lut").write_bytes(TWO.package)
            for i in range(5):
                Image.fromarray(np.roll(PICTURE, i)).save(root / f"photos/{i}.png")
            (root / "photos/z.png").write_text("no picture")
            arguments = ["--panel", "panel.lut"]
            for script, target, more, code in (("dask_folder.py", "frames", [], 1),
                                               ("photo_frame.py", "frame", ["--frames", "6"], 0)):
                done = subprocess.run([sys.executable, examples / script, "photos", target,
                                       *arguments, *more], cwd=root, capture_output=True, text=True)
                self.assertEqual(done.returncode, code, done.stderr)
                self.assertIn("photos/z.png: ", done.stderr)
            for i in range(5):
                expected = TWO.render(np.roll(PICTURE, i), "floyd")[..., 0].tobytes()
                self.assertEqual((root / f"frames/{i}.png.bin").read_bytes(), expected)
            self.assertEqual((root / "frame").read_bytes(), expected)


if __name__ == "__main__":
    unittest.main()
