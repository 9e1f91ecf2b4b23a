"""Tests of the Python package: its promises about images, errors and threads, and its examples."""

import doctest
import itertools
import os
import pathlib
import signal
import struct
import subprocess
import sys
import tempfile
import threading
import unittest
import zlib

import numpy as np
import oxel
from PIL import Image

INKS = [{"name": "k", "rgb": [0, 0, 0], "tcon": 7}, {"name": "w", "rgb": [255, 255, 255], "tcon": 9}]
COLOUR = oxel.Panel.builtin()
TWO = oxel.Panel.from_json({"name": "two", "width": 5, "height": 4, "tft_layout": 3, "colours": INKS})
PICTURE = np.random.default_rng(1).integers(0, 256, (40, 30, 3), np.uint8)
HEADER = struct.pack("<6xIH4I", 32, 2, 28, 28, 28, 28)
EMPTY = HEADER + struct.pack("<I", zlib.crc32(HEADER))
DITHERS = list(itertools.product(("floyd", "jjn", "stucki"), (False, True)))


def load_tests(_loader, tests, _pattern):
    for module in (oxel._frames, oxel._images, oxel._panel, oxel._preparation):
        tests.addTests(doctest.DocTestSuite(module, extraglobs={"np": np, "oxel": oxel}))
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
            bare = COLOUR.render(PICTURE, dither, serpentine, "eo", prepare=False)
            self.assertTrue((bare != expected).any())
            guarded = COLOUR.render_guarded(PICTURE, np.inf, dither, serpentine, "eo", prepare=False)
            np.testing.assert_array_equal(guarded.frame, bare)
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
            (TypeError, "'photo.jpg'.*PIL.Image.open", lambda: TWO.render("photo.jpg")),
            (TypeError, "image=None", lambda: TWO.render(None)),
            (ValueError, "shape .40, 30.: .*np.repeat", lambda: TWO.render(PICTURE[..., 0])),
            (ValueError, "shape .1, 1, 4.: .*:3", lambda: TWO.render(np.zeros((1, 1, 4), np.uint8))),
            (oxel.BadArgument, "2.31", lambda: TWO.render(np.broadcast_to(clear.size[0] * frozen,
                                                                          (2**15, 2**15, 3)))),
            (ValueError, "order='bgr'", lambda: TWO.render(clear, order="bgr")),
            (ValueError, "dither='all': must be .*'none'", lambda: TWO.render(PICTURE, "all")),
            (ValueError, "did you mean 'stucki'", lambda: TWO.render(PICTURE, "stuki")),
            (ValueError, "'jjn', serpentine=True", lambda: TWO.render(PICTURE, "jjn-serpentine")),
            (TypeError, "dither=4", lambda: TWO.render(PICTURE, 4)),
            (TypeError, "serpentine='eo'", lambda: TWO.render(PICTURE, "jjn", "eo")),
            (TypeError, "threshold='low'", lambda: TWO.render_guarded(PICTURE, "low")),
            (ValueError, "out: .*shape .2, 2, 3", lambda: TWO.render(PICTURE, **other)),
            (ValueError, "writeable", lambda: TWO.render(frozen, out=frozen)),
            (ValueError, "overlaps", lambda: TWO.render(PICTURE[1:], out=PICTURE[:-1])),
            (ValueError, "hue=", lambda: oxel.adjust(PICTURE, hue=2**31)),
            (TypeError, "hue=0.5", lambda: oxel.adjust(PICTURE, hue=0.5)),
            (ValueError, "gamma=-1", lambda: oxel.adjust(PICTURE, gamma=-1)),
            (oxel.NotSixColours, "status 14", lambda: TWO.render(PICTURE, output="nominal")),
            (oxel.BadSelector, "layout=6: .*oxel.Layout", lambda: oxel.transfer(PICTURE, 6)),
            (oxel.BadPackageLength, "status 3", lambda: oxel.Panel(b"short")),
            (oxel.BadPackageCRC, "python.*: Not a", lambda: oxel.Panel.from_file(sys.executable)),
            (oxel.BadPackageCRC, "status 4", lambda: oxel.Panel(TWO.package[:-1] + b"?")),
            (oxel.UnusableTables, "status 5", lambda: oxel.Panel(EMPTY)),
            (TypeError, "'six-colour'.*Panel.builtin", lambda: oxel.Panel("six-colour")),
            (AttributeError, "", lambda: setattr(TWO, "package", COLOUR.package)),
            (oxel.PanelError, "colours: is missing", lambda: oxel.build_package('{"name": "p"}')),
            (oxel.PanelError, "did you mean 'six-colour'", lambda: oxel.Panel.builtin("six-color")),
        ):
            with self.subTest(message):
                self.assertRaisesRegex(error, message, call)
        self.assertEqual((TWO.size, TWO.layout, TWO.codes.tolist()), ((5, 4), 3, [7, 9]))


class Frames(unittest.TestCase):
    def test_each_format_gives_back_what_it_was_given(self):
        draw = np.random.default_rng(4)
        for panel, gzip, (height, width) in itertools.product(
                (COLOUR, TWO), (False, True), ((1, 1), (3, 7), (8, 16), (5, 33))):
            codes = draw.choice(panel.codes, (height, width, 1)).repeat(3, 2)
            for form in ("bytes", "rgb", "packed4", "planes1", "png", "bmp", "c"):
                data = oxel.encode_frame(codes, panel, form, gzip=gzip)
                size = None if form in ("png", "bmp", "c") else (width, height)
                np.testing.assert_array_equal(
                    oxel.decode_frame(data, panel, form, size, gzip=gzip), codes, form)
                for wrong in (data[:-1], data + b" ") if form not in ("c", "png", "bmp") else (data[:len(data) // 2],):
                    with self.assertRaises(oxel.FrameError):
                        oxel.decode_frame(wrong, panel, form, size, gzip=gzip)
        with self.assertRaisesRegex(oxel.FrameError, "its code 7 does not fit 2 bits"):
            oxel.encode_frame(np.full((1, 1, 3), 7, np.uint8), TWO, "packed2")
        with self.assertRaisesRegex(ValueError, "size: is needed"):
            oxel.decode_frame(b"1", TWO)
        with self.assertRaisesRegex(ValueError, "did you mean 'packed4'"):
            oxel.encode_frame(np.zeros((1, 1, 3), np.uint8), TWO, "pack4")


class Threads(unittest.TestCase):
    def test_two_panels_side_by_side(self):
        large = np.tile(PICTURE, (10, 10, 1))  # so that renders meet
        expected = {panel: panel.render(large) for panel in (COLOUR, TWO)}
        wrong = []

        def work(panel):
            for _ in range(20):
                wrong.extend([panel] * bool((panel.render(large) != expected[panel]).any()))

        threads = [threading.Thread(target=work, args=(panel,)) for panel in [COLOUR, TWO] * 4]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(wrong, [])

    def test_a_fork_amid_renders(self):
        stop = threading.Event()
        expected = TWO.render(PICTURE)

        def work(panel):
            while not stop.is_set():
                panel.render(PICTURE)

        threads = [threading.Thread(target=work, args=(panel,)) for panel in (COLOUR, TWO)]
        for thread in threads:
            thread.start()
        try:
            for _ in range(20):
                child = os.fork()
                if child == 0:
                    signal.alarm(60)  # for a child that waits for a thread that it has not
                    os._exit(bool((TWO.render(PICTURE) != expected).any()))
                self.assertEqual(os.waitpid(child, 0)[1], 0)
        finally:
            stop.set()
            for thread in threads:
                thread.join()

    def test_an_exception_before_each_instruction(self):
        """As a signal's handler may raise one: the panels work on, for all that come after."""
        picture = np.ascontiguousarray(PICTURE[:4, :4])
        calls = [call for panel in (COLOUR, TWO) for call in (
            lambda panel=panel: panel.render(picture), lambda panel=panel: panel.render_all(picture),
            lambda panel=panel: panel.render_guarded(picture, 1))]
        done = []

        def interrupted(call, instruction):
            left = [instruction]

            def trace(frame, event, _argument):
                frame.f_trace_opcodes = True
                left[0] -= event == "opcode"
                if left[0] < 0:
                    raise KeyboardInterrupt
                return trace

            try:
                sys.settrace(trace)
                call()
            except KeyboardInterrupt:
                pass
            finally:
                sys.settrace(None)
            return left[0] < 0

        def interrupt_all():
            for instruction in itertools.count():
                if not any([interrupted(call, instruction) for call in calls]):
                    break
                done.append(instruction)

        thread = threading.Thread(target=interrupt_all, daemon=True)
        thread.start()
        before = -1
        while thread.is_alive() and len(done) > before:
            before = len(done)
            thread.join(timeout=60)
        self.assertFalse(thread.is_alive(), f"waits for ever after instruction {len(done)}")
        self.assertGreater(len(done) * len(calls), 1000)


class Examples(unittest.TestCase):
    def test_a_folder_on_a_cluster_and_in_a_photo_frame(self):
        examples = pathlib.Path(__file__).parents[2] / "examples"
        with tempfile.TemporaryDirectory() as name:
            root = pathlib.Path(name)
            (root / "photos").mkdir()
            (root / "panel.lut").write_bytes(TWO.package)
            for i in range(5):
                Image.fromarray(np.roll(PICTURE, i)).save(root / f"photos/{i}.png")
            # Pillow refuses what is too large with an error that is no OSError and no ValueError.
            size = b"IHDR" + struct.pack(">2I5B", 30000, 30000, 8, 2, 0, 0, 0)
            (root / "photos/z.png").write_bytes(b"\x89PNG\r\n\x1a\n\0\0\0\r" + size
                                                + struct.pack(">2I", zlib.crc32(size), 0) + b"IDAT")
            arguments = ["--panel", "panel.lut"]
            for script, target, more, code in (("dask_folder.py", "frames", [], 1),
                                               ("photo_frame.py", "frame", ["--frames", "6"], 0)):
                done = subprocess.run([sys.executable, examples / script, "photos", target,
                                       *arguments, *more], cwd=root, capture_output=True, text=True)
                self.assertEqual(done.returncode, code, done.stderr)
                self.assertIn("photos/z.png: ", done.stderr)
            for i in range(5):
                expected = oxel.Panel(TWO.package).render(np.roll(PICTURE, i))[..., 0].tobytes()
                self.assertEqual((root / f"frames/{i}.png.bin").read_bytes(), expected)
            self.assertEqual((root / "frame").read_bytes(), expected)


if __name__ == "__main__":
    unittest.main()
