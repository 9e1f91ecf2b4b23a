"""Tests of the oxel command against the Python package and against itself."""

import itertools
import json
import os
import pathlib
import signal
import subprocess
import tempfile
import time
import unittest

import numpy as np
import oxel
from PIL import Image

COMMAND = os.environ["OXEL_COMMAND"]
DITHERS = [k + s for k, s in itertools.product(("floyd", "jjn", "stucki"), ("", "-serpentine"))]
INKS = [(20, 20, 20), (230, 230, 230), (200, 30, 30), (30, 60, 180)]
PANEL = oxel.Panel.from_json({"name": "four", "colours": [
    {"name": str(i), "rgb": rgb, "tcon": 3 - i} for i, rgb in enumerate(INKS)]})
PHOTO = np.random.default_rng(3).integers(0, 256, (16, 24, 3), np.uint8)


class Command(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        pathlib.Path("panel.lut").write_bytes(PANEL.package)
        Image.fromarray(PHOTO).save("photo.png")

    def oxel(self, *arguments, code=0, stdin=b"", **environment):
        done = subprocess.run([COMMAND, *" ".join(arguments).split()], capture_output=True,
                              input=stdin, env={**os.environ, "HOME": "/none", **environment})
        self.assertEqual(done.returncode, code, (arguments, done.stderr))
        return done.stdout.decode() if code == 0 else done.stderr.decode()

    def frame(self, arguments, **environment):
        self.oxel("render photo.png -o frame --panel panel.lut", arguments, **environment)
        return np.fromfile("frame", np.uint8)

    def test_frames_hold_what_the_library_renders_and_view_shows_them(self):
        for layout, output in itertools.product(range(6), ("tcon", "index", "eo")):
            options = f"--layout {layout} --output {output}"
            name = output if output == "eo" else "tcon"
            image = oxel.transfer(PANEL.render(PHOTO, "floyd", output=name), layout)
            codes = 3 - image[..., 0] if output == "index" else image[..., 0]
            bits = np.unpackbits(codes[..., None], axis=2)
            forms = {"rgb": image} if output == "eo" else {
                "bytes": codes, "rgb": codes[..., None].repeat(3, 2),
                "packed4": np.packbits(bits[..., 4:].reshape(len(codes), -1), axis=1),
                "packed2": np.packbits(bits[..., 6:].reshape(len(codes), -1), axis=1)}
            for form, expected in forms.items():
                frame = self.frame(f"{options} --frame {form} --preview preview.png")
                np.testing.assert_array_equal(frame, expected.reshape(-1), options + form)
                self.oxel("view frame --panel panel.lut --size 24x16 -o view.png", options, "--frame", form)
                np.testing.assert_array_equal(Image.open("view.png"), Image.open("preview.png"))
        for command, code, message in (
                ("view photo.png --panel panel.lut --size 9x9 -o no.png", 1, "a frame of 9x9 in this"),
                ("view photo.png --panel panel.lut -o no.png", 1, "panel.lut: has no size"),
                (f"view panel.lut --panel panel.lut --size {len(PANEL.package)}x1 -o no.png", 1, "its code "),
                ("render photo.png -o frame --panel panel.lut --frame packed2 --output eo", 2, "packs")):
            self.assertIn(message, self.oxel(command, code=code))

    def test_guard_measures_what_the_library_compares(self):
        stripes = np.repeat([[0], [0], [255], [255]] * 4, 24, 1).astype(np.uint8)
        Image.fromarray(stripes).save("photo.png")
        table = self.oxel("guard photo.png --panel panel.lut -o plot.png").splitlines()[1:7]
        for dither, first, shifted in map(str.split, table):
            for measure, verdict in ((first, "passed"), (shifted, "shifted")):
                above = np.nextafter(float(measure), np.inf)
                done = self.oxel(f"render photo.png -o f --panel panel.lut --dither {dither} --json",
                                 f"--guard {above:.17g}")
                self.assertEqual(json.loads(done)["guard"]["verdict"], verdict)
            self.frame(f"--dither {dither} --guard {shifted} --preview preview.png")
            self.assertEqual(set(np.asarray(Image.open("preview.png")).reshape(-1)), {20})

    def test_pictures_are_turned_adjusted_and_framed(self):
        panel_render = lambda image: PANEL.render(image, "floyd")[..., 0].reshape(-1)
        adjusted = oxel.adjust(PHOTO, 40, 10, -5, 20, 1.5)
        np.testing.assert_array_equal(self.frame("--hue 40 --saturation 10 --brightness -5 "
                                                 "--contrast 20 --gamma 1.5"), panel_render(adjusted))
        turned = np.rot90(PHOTO, -1)
        for path, options, expected in (("photo.png", "--rotate 90 --size 16x24", turned),
                                        ("6.png", "--size 16x24", turned),
                                        ("6.png", "--rotate 0", PHOTO)):
            exif = Image.Exif()
            exif[0x112] = 6
            Image.fromarray(PHOTO).save("6.png", exif=exif)
            self.oxel("render", path, "-o frame --panel panel.lut", options)
            np.testing.assert_array_equal(np.fromfile("frame", np.uint8), panel_render(expected))
        Image.new("RGBA", (24, 2), (0, 0, 0, 0)).save("photo.png")
        self.assertEqual(set(self.frame("--background black --fit contain --size 24x16")), {3})
        spot = np.full((16, 96, 3), 230, np.uint8)
        spot[4:12, 84:92] = (200, 30, 30)
        Image.fromarray(spot).save("photo.png")
        reds = [np.count_nonzero(self.frame(f"--size 24x16 --fit {fit}") == 1)
                for fit in ("cover", "attention")]
        self.assertGreater(reds[1], 2 * reds[0])

    def test_a_sheet_holds_the_renderings_at_true_pixels(self):
        self.oxel("compare photo.png --panel panel.lut -o sheet.png")
        sheet = np.asarray(Image.open("sheet.png"))
        windows = np.lib.stride_tricks.sliding_window_view(sheet, (16, 24, 3)).reshape(-1, 16 * 24 * 3)
        for dither in DITHERS:
            self.frame(f"--dither {dither} --preview preview.png")
            preview = np.asarray(Image.open("preview.png")).reshape(-1)
            self.assertTrue((windows == preview).all(axis=1).any(), dither)

    def test_batches(self):
        for place in ("a.png", "b.png", "deep/a.png", "deep/a.jpg", "..png", "deep/.hidden.png"):
            path = pathlib.Path("photos", place)
            path.parent.mkdir(parents=True, exist_ok=True)
            Image.fromarray(PHOTO).save(path, "PNG")
        pathlib.Path("photos/bad.jpg").write_text("no picture")
        render = "render photos --panel panel.lut -o out --preview png"
        error = self.oxel(render, code=1)
        self.assertRegex(error, "^oxel: photos/bad.jpg: .*known file format\noxel: 1 of 5 .* failed\n$")
        names = {"a.png.bin", "b.png.bin", "deep/a.png.bin", "deep/a.jpg.bin"}
        frames = lambda: {str(p.relative_to("out")) for p in pathlib.Path("out").rglob("*.bin")}
        self.assertEqual(frames(), names)
        os.remove("photos/bad.jpg")

        def statuses(*options):
            lines = self.oxel(render, "--resume --json", *options).splitlines()
            return {line["photo"]: line["status"] for line in map(json.loads, lines)}

        self.assertEqual(set(statuses().values()), {"skipped"})
        os.utime("photos/b.png")
        self.assertEqual([p for p, s in statuses().items() if s == "done"], ["photos/b.png"])
        self.assertEqual(set(statuses("--hue 3").values()), {"done"})
        listed = b"photos/a.png\0photos/deep/a.png\0none.png\0"
        error = self.oxel("render - --panel panel.lut -o listed --quiet", code=1, stdin=listed)
        self.assertIn("photos/deep/a.png: listed/a.png.bin: is named for two outputs", error)
        self.assertIn("none.png: no such file", error)
        self.assertEqual(set(os.listdir("listed")), {".oxel-render.json", "a.png.bin"})

    def test_an_interruption_leaves_whole_files_only(self):
        names = "".join(f"{i}.png\n" for i in range(400)).encode()
        for i in range(400):
            os.link("photo.png", f"{i}.png")
        for sent in (signal.SIGTERM, signal.SIGHUP, signal.SIGTERM):
            batch = subprocess.Popen([COMMAND, *"render - --panel panel.lut -o out".split()],
                                     stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
            batch.stdin.write(names)
            batch.stdin.close()
            while batch.poll() is None and len(list(pathlib.Path().glob("out/*.bin"))) < 5:
                time.sleep(0.001)
            batch.send_signal(sent)
            self.assertIn(batch.wait(), (-sent, 0))
            for path in pathlib.Path("out").iterdir():
                self.assertNotIn(".part", path.name)
                self.assertTrue(path.suffix == ".json" or path.stat().st_size == 24 * 16)

    def test_defaults_come_in_their_order_and_are_named_when_wrong(self):
        file = pathlib.Path("o.toml")
        same = lambda a, b: self.assertEqual(a.tobytes(), b.tobytes())
        file.write_text('[render]\ndither = "jjn"\n')
        same(self.frame("--config o.toml"), self.frame("--dither jjn"))
        same(self.frame("", OXEL_CONFIG="o.toml"), self.frame("--dither jjn"))
        same(self.frame("--config o.toml", OXEL_DITHER="stucki"), self.frame("--dither stucki"))
        same(self.frame("--config o.toml --dither floyd", OXEL_DITHER="stucki"),
             self.frame("--dither floyd"))
        for text, environment, message in (
                ('[render]\ndither = "x"\n', {}, "o.toml: --dither: x not in"),
                ("; ini\n[render]\ndiver = 3\n", {}, "o.toml: unknown key render.diver"),
                ("", {"OXEL_GUARD": "x"}, "OXEL_GUARD: Could not convert: --guard = x")):
            file.write_text(text)
            self.assertIn(message, self.oxel("render photo.png -o frame --panel panel.lut --config",
                                             "o.toml", code=2, **environment))

    def test_bash_completes_choices_and_commands(self):
        ask = ("source $COMPLETION; COMP_WORDS=({}); COMP_CWORD={}; _oxel; echo ${{COMPREPLY[@]}}")
        for words, expected in (("oxel render --dither st", "stucki stucki-serpentine"),
                                ("oxel pac", "package"), ("oxel view a --fr", "--frame")):
            done = subprocess.check_output(["bash", "-c", ask.format(words, words.count(" "))])
            self.assertEqual(done.decode().strip(), expected)


if __name__ == "__main__":
    unittest.main()
