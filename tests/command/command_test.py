"""Tests of the oxel command against the Python package and against itself."""

import functools
import itertools
import json
import os
import pathlib
import signal
import struct
import subprocess
import time
import unittest
import zlib

import numpy as np
import oxel
from command_case import COMMAND, KERNELS, PANEL, PHOTO, CommandCase, colours_of
from PIL import Image, ImageCms, ImageOps

DITHERS = [k + s for k, s in itertools.product(KERNELS, ("", "-serpentine"))]
NOMINAL = [(0, 0, 0), (255, 255, 255), (255, 255, 0), (255, 0, 0), (0, 255, 0), (0, 0, 255)]


@functools.cache
def poster_package():
    """The nominal colours at codes 10, 11, ...; each cell takes the nearest, without any error."""
    middles = np.stack(np.meshgrid(*[np.arange(64) * 4 + 2] * 3, indexing="ij"), -1).reshape(-1, 1, 3)
    nearest = ((middles - np.array(NOMINAL)) ** 2).sum(-1).argmin(-1).astype(np.uint8)
    palette = np.array(NOMINAL, np.uint8)
    tables = [palette.tobytes(), bytes(range(10, 16)), palette[nearest].tobytes(), nearest.tobytes()]
    offsets = 28 + np.cumsum([0, *map(len, tables)])
    body = struct.pack("<6xIHIIII", offsets[4] + 4, 6, *offsets[:4]) + b"".join(tables)
    return body + struct.pack("<I", zlib.crc32(body))


def blocks(rows):
    """A picture of 8 x 8 pixels for each colour's index."""
    return np.array(NOMINAL, np.uint8)[np.kron(rows, np.ones((8, 8), int))]


class Command(CommandCase):
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
                np.testing.assert_array_equal(colours_of("view.png"), colours_of("preview.png"))
        for command, code, message in (
                ("view panel.lut --panel panel.lut --size 9x9 -o no.png", 1, "a frame of 9x9 in this"),
                ("view panel.lut --panel panel.lut -o no.png", 1, "panel.lut: has no size"),
                (f"view panel.lut --panel panel.lut --size {len(PANEL.package)}x1 -o no.png", 1, "its code "),
                ("render photo.png -o frame --panel panel.lut --frame packed2 --output eo", 2, "packed2 holds codes")):
            self.assertIn(message, self.oxel(command, code=code))

    def test_guard_measures_what_the_library_compares(self):
        stripes = np.repeat([[0], [0], [255], [255]] * 4, 24, 1).astype(np.uint8)
        Image.fromarray(stripes).save("photo.png")
        guard = lambda option: self.oxel("guard photo.png --panel panel.lut", option).splitlines()
        table = [list(json.loads(line).values()) for line in guard("--json")]
        self.assertEqual([dither for dither, *_ in table], DITHERS)
        for (dither, *exact), row in zip(table, guard("-o plot.png")[1:]):
            for measure, shown in zip(exact, row.split()[1:]):
                self.assertTrue(0 <= float(shown) - measure < 0.001, row)
        for dither, first, shifted in table:
            for measure, verdict in ((first, "passed"), (shifted, "shifted")):
                above = np.nextafter(float(measure), np.inf)
                done = self.oxel(f"render photo.png -o f --panel panel.lut --dither {dither} --json",
                                 f"--guard {above:.17g}")
                self.assertEqual(json.loads(done)["guard"]["verdict"], verdict)
            self.frame(f"--dither {dither} --guard {shifted} --preview preview.png")
            self.assertEqual(set(colours_of("preview.png").reshape(-1)), {20})

    def test_pictures_are_adjusted_and_cut_where_attention_falls(self):
        panel_render = lambda image: PANEL.render(image, "floyd")[..., 0].reshape(-1)
        adjusted = oxel.adjust(PHOTO, 40, 10, -5, 20, 1.5)
        np.testing.assert_array_equal(self.frame("--hue 40 --saturation 10 --brightness -5 "
                                                 "--contrast 20 --gamma 1.5"), panel_render(adjusted))
        spot = np.full((16, 96, 3), 230, np.uint8)
        spot[4:12, 84:92] = (200, 30, 30)
        Image.fromarray(spot).save("photo.png")
        reds = [np.count_nonzero(self.frame(f"--size 24x16 --fit {fit}") == 1)
                for fit in ("cover", "attention")]
        self.assertGreater(reds[1], 2 * reds[0])

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
        frames = lambda out: {str(p.relative_to(out)) for p in pathlib.Path(out).rglob("*.bin")}
        self.assertEqual(frames("out"), names)
        os.remove("photos/bad.jpg")

        def statuses(*options):
            lines = self.oxel(render, "--resume --json", *options).splitlines()
            return {line["photo"]: line["status"] for line in map(json.loads, lines)}

        self.assertEqual(set(statuses().values()), {"skipped"})
        os.utime("photos/b.png")
        self.assertEqual([p for p, s in statuses().items() if s == "done"], ["photos/b.png"])
        self.assertEqual(set(statuses("--hue 3").values()), {"done"})
        listed = b"photos/a.png\0photos/deep/a.png\0none.png\0"
        error = self.oxel("render --list - --panel panel.lut -o listed --quiet", code=1, stdin=listed)
        self.assertIn("photos/deep/a.png: listed/a.png.bin: is named for two outputs", error)
        self.assertIn("none.png: no such file", error)
        error = self.oxel("render --list - --panel panel.lut -o listed", code=1, stdin=b"\x1B[m\n.png\0")
        self.assertIn(r"\x1B[m\x0A.png: no such file", error)
        self.assertEqual(set(os.listdir("listed")), {".oxel-render.json", "a.png.bin"})
        self.oxel("render photos/deep/../ photos/deep/ photo.png --panel panel.lut -o both")
        self.assertTrue({"photos/a.png.bin", "deep/a.png.bin", "photo.png.bin"} <= frames("both"))

    def test_an_interruption_leaves_whole_files_only(self):
        names = "".join(f"{i}.png\n" for i in range(400)).encode()
        for i in range(400):
            os.link("photo.png", f"{i}.png")
        for sent in (signal.SIGTERM, signal.SIGHUP, signal.SIGTERM):
            batch = subprocess.Popen([COMMAND, *"render --list - --panel panel.lut -o out".split()],
                                     stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
            batch.stdin.write(names)
            batch.stdin.close()
            while batch.poll() is None and len(list(pathlib.Path().glob("out/*.bin"))) < 5:
                time.sleep(0.001)
            batch.send_signal(sent)
            self.assertIn(batch.wait(), (-sent, 0))
            for path in pathlib.Path("out").iterdir():
                self.assertNotIn("-part", path.name)
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
                ("[rendr]\ndiver = 3\n", {}, "o.toml: unknown section rendr"),
                ("", {"OXEL_GUARD": "x"}, "OXEL_GUARD: Could not convert: --guard = x")):
            file.write_text(text)
            self.assertIn(message, self.oxel("render photo.png -o frame --panel panel.lut --config",
                                             "o.toml", code=2, **environment))

    def poster(self, path, options):
        """The nominal colours to which a picture's places are nearest."""
        pathlib.Path("poster.lut").write_bytes(poster_package())
        self.oxel("render", path, "--panel poster.lut -o frame --preview poster.png", options)
        return colours_of("poster.png")

    def test_framing_agrees_with_another_program(self):
        image = Image.fromarray(blocks([[0, 1, 2, 3, 4], [5, 4, 3, 2, 1], [2, 0, 5, 1, 3]]))
        image.save("blocks.png")
        nearest, red = Image.Resampling.NEAREST, (255, 0, 0)
        turned = {angle: image.rotate(-angle, expand=True) for angle in (90, 180, 270)}
        cases = [(f"--rotate {angle} --size {t.width}x{t.height}", t) for angle, t in turned.items()]
        for width, height in ((40, 24), (80, 48), (120, 24), (40, 96), (24, 40), (31, 57), (30, 18)):
            size = f"--size {width}x{height}"
            fit = lambda picture: ImageOps.fit(picture, (width, height), nearest)
            cases += [
                (f"{size} --fit stretch", image.resize((width, height), nearest)),
                (f"{size} --fit contain --background ff0000",
                 ImageOps.pad(image, (width, height), nearest, red)),
                (f"{size} --fit contain --rotate 90 --background #00FF00",
                 ImageOps.pad(turned[90], (width, height), nearest, (0, 255, 0))),
                (size, fit(image)), (f"{size} --rotate 270", fit(turned[270])),
                (f"{size} --fit stretch --crop 20%,{image.height // 3},60%,{image.height // 3}",
                 image.crop((image.width // 5, image.height // 3, image.width * 4 // 5,
                             image.height * 2 // 3)).resize((width, height), nearest)),
                (f"{size} --focus 100%,{image.height}",
                 ImageOps.fit(image, (width, height), nearest, centering=(1, 1)))]
        for options, expected in cases:
            shown, expected = self.poster("blocks.png", options), np.asarray(expected)
            self.assertEqual(shown.shape, expected.shape, options)
            # Where two blocks meet, or are off by a rounding, either colour may stand.
            windows = np.lib.stride_tricks.sliding_window_view(expected, (5, 5), (0, 1))
            inside = (windows == expected[2:-2, 2:-2, :, None, None]).all((2, 3, 4))
            self.assertGreater(inside.mean(), 0.02, options)
            differs = (shown != expected).any(2)[2:-2, 2:-2] & inside
            self.assertFalse(differs.any(), f"{options}: {np.argwhere(differs)[:4]}")

    def test_every_orientation_is_applied_or_replaced(self):
        stored = Image.fromarray(blocks([[0, 1, 2], [3, 4, 5]]))
        for orientation in range(1, 9):
            exif = Image.Exif()
            exif[0x112] = orientation
            stored.save("o.png", exif=exif)
            oriented = np.asarray(ImageOps.exif_transpose(Image.open("o.png")))
            np.testing.assert_array_equal(self.poster("o.png", ""), oriented, str(orientation))
            for angle in (0, 90, 180, 270) if orientation % 3 == 2 else ():
                np.testing.assert_array_equal(self.poster("o.png", f"--rotate {angle}"),
                                              np.rot90(stored, -angle // 90), f"{orientation} {angle}")

    def test_grey_pictures_may_have_a_profile_for_rgb(self):
        rgb = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        grey = Image.fromarray(blocks([[0, 1]])[..., 0])
        grey.save("grey.jpg", icc_profile=rgb)
        np.testing.assert_array_equal(self.poster("grey.jpg", ""), np.asarray(grey.convert("RGB")))

    def test_formats_of_modules_are_read_in_the_sandbox(self):
        pathlib.Path("red.jxl").write_bytes(bytes.fromhex(
            "ff0a414024080201005c004b188b15c24902e6052200d8fffed00000000000000000"))
        Image.fromarray(blocks([[3]])).save("red.pdf", resolution=72)
        for path in ("red.jxl", "red.pdf"):
            np.testing.assert_array_equal(self.poster(path, "--size 8x8"), blocks([[3]]), path)

    def test_ink_is_separated_and_what_is_clear_is_paper(self):
        Image.new("CMYK", (2, 2)).save("cmyk.tif")
        pathlib.Path("clear.svg").write_text('<svg xmlns="http://www.w3.org/2000/svg" width="2" height="1"/>')
        for path, options, size in (("cmyk.tif", "", (2, 2, 3)), ("clear.svg", "--size 3x3", (3, 3, 3))):
            np.testing.assert_array_equal(self.poster(path, options), np.full(size, 255), path)

    def test_transparent_parts_show_the_background(self):
        clear = np.dstack([blocks([[3, 4], [5, 0]]), np.kron([[255, 0], [0, 255]], np.full((8, 8), 1))])
        Image.fromarray(clear.astype(np.uint8), "RGBA").save("clear.png")
        for name, index in (("", 1), ("white", 1), ("black", 0), ("ffff00", 2), ("#0000ff", 5)):
            shown = self.poster("clear.png", name and f"--background {name}")
            np.testing.assert_array_equal(shown, blocks([[3, index], [index, 0]]), name)
        for wrong in ("red", "ff00", "#ff00001", "gg0000", "-10000"):
            self.assertIn("--background", self.oxel(
                "render clear.png -o f --panel panel.lut --background=" + wrong, code=2))

    def test_json_lines_tell_everything_and_exit_codes_are_right(self):
        tell = lambda *arguments, **more: [json.loads(line) for line in self.oxel(
            *arguments, "--panel poster.lut --json", **more).splitlines()]
        pathlib.Path("poster.lut").write_bytes(poster_package())
        done = {"photo": "photo.png", "status": "done", "frame": "f", "width": 48, "height": 8,
                "bytes": 48 * 8 // 2}
        self.assertEqual(tell("render photo.png -o f --layout 2 --frame packed4 --output index"), [done])
        done |= {"preview": "p.png", "nominal": "n.png", "width": 24, "height": 16, "bytes": 24 * 16 * 3,
                 "guard": {"threshold": 1e300, "verdict": "passed"}}
        self.assertEqual(tell("render photo.png -o f --frame rgb --guard 1e300 --preview p.png",
                              "--nominal n.png"), [done])
        blanked = tell("render photo.png -o f --guard 0")[0]["guard"]
        self.assertEqual(blanked, {"threshold": 0, "verdict": "blanked"})
        self.assertEqual(set(np.fromfile("f", np.uint8)), {10})
        os.mkdir("photos")
        os.link("photo.png", "photos/1.png")
        pathlib.Path("photos/2.png").write_text("none")
        batch = subprocess.run([COMMAND, *"render photos -o o --panel poster.lut --json".split()],
                               capture_output=True, env={**os.environ, "HOME": "/none"})
        self.assertEqual(batch.returncode, 1)
        lines = sorted(map(json.loads, batch.stdout.splitlines()), key=lambda line: line["photo"])
        self.assertEqual(lines[0], {"photo": "photos/1.png", "status": "done", "frame": "o/1.png.bin",
                                    "width": 24, "height": 16, "bytes": 24 * 16})
        self.assertEqual((lines[1]["photo"], lines[1]["status"]), ("photos/2.png", "failed"))
        self.assertEqual(set(lines[1]), {"photo", "status", "reason"})
        os.remove("photos/2.png")
        self.assertEqual(tell("render photos -o o --resume"), [
            {"photo": "photos/1.png", "status": "skipped", "frame": "o/1.png.bin"}])
        for arguments, code in (
                ("render photo.png -o f --panel no.json", 1), ("render no.png -o f --panel panel.lut", 1),
                ("render photo.png -o f --panel panel.lut --hue x", 2), ("package info no.lut", 1),
                ("view no.bin --panel panel.lut --size 2x2 -o v.png", 1), ("chart --panel panel.lut", 2),
                ("render photo.png -o f --panel panel.lut --guard 1 --dither 9", 2), ("guard", 2),
                ("compare photo.png --panel panel.lut", 2), ("panels more", 2), ("package more", 2),
                ("render photo.png --panel panel.lut -o f --preview p.jpg", 2),
                ("render photo.png --panel panel.lut -o f --gamma 0", 2),
                ("", 2), ("paint", 2), ("render photo.png", 2),
                ("render photo.png --panel panel.lut", 2), ("package build p.json -o f --intent bright", 2),
                *((f"render photo.png -o new --panel panel.lut {option}", 2) for option in (
                    "--dither nothing", "--size 4", "--size 4x0", "--size 99999x99999"))):
            self.assertTrue(self.oxel(arguments, code=code), arguments)
        self.assertFalse(os.path.exists("new"))
        self.oxel("--help")
        self.assertEqual(self.oxel("--version"), "oxel 2.2.1\n")

    def test_the_nearer_default_wins_for_each_option_by_itself(self):
        pathlib.Path(".config").mkdir()
        pathlib.Path(".config/oxel.toml").write_text(
            '[render]\npanel = "poster.lut"\nsize = "5x7"\nrotate = 90\n[compare]\nsize = "9x9"\n')
        pathlib.Path("named.toml").write_text('[render]\npanel = "poster.lut"\nsize = "3x4"\n')
        pathlib.Path("poster.lut").write_bytes(poster_package())
        sizes = lambda arguments, **environment: self.oxel(
            "render photo.png -o f", arguments, HOME=os.getcwd(), XDG_CONFIG_HOME="", **environment)
        for expected, arguments, environment in (
                ("5x7", "", {}), ("3x4", "", {"OXEL_CONFIG": "named.toml"}),
                ("3x4", "--config named.toml", {"OXEL_CONFIG": "none.toml"}),
                ("6x2", "", {"OXEL_SIZE": "6x2"}), ("6x2", "--config named.toml", {"OXEL_SIZE": "6x2"}),
                ("8x1", "--size 8x1 --config named.toml", {"OXEL_SIZE": "6x2"})):
            self.assertEqual(sizes(arguments, **environment).splitlines()[0].split()[:2],
                             ["f:", expected + ","], (arguments, environment))
        self.oxel("render photo.png -o f", HOME=os.getcwd(), OXEL_PANEL="none.lut", code=1)
        for command in ("render", "view"):
            self.assertIn("packed4  4 bits", self.oxel(command, "--help", OXEL_CONFIG="none.toml"))


if __name__ == "__main__":
    unittest.main()
