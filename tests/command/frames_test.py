"""Frames in every format, read by programs that are not oxel's, and what the command says of itself."""

import contextlib
import gzip
import io
import os
import pathlib
import struct
import subprocess
import threading
import unittest
import zlib

import numpy as np
from PIL import Image

from command_case import COMMAND, PANEL, PHOTO, CommandCase, colours_of

PRINT = '#include "{0}.h"\n#include <stdio.h>\nint main(void) {{ return fwrite({0}, 1, sizeof {0}, stdout) != {1}_BYTES; }}\n'


def package_with(codes):
    """PANEL's package with other codes."""
    package = bytearray(PANEL.package[:-4])
    place = struct.unpack_from("<I", package, 16)[0]
    package[place:place + 4] = bytes(codes)
    return bytes(package) + struct.pack("<I", zlib.crc32(package))


def unpacked(data, bits, width, height):
    """Codes of packed rows."""
    rows = np.unpackbits(np.frombuffer(data, np.uint8).reshape(height, -1), axis=1)[:, :width * bits]
    return rows.reshape(height, width, bits) @ (1 << np.arange(bits)[::-1])


def compiled(name, symbol):
    """The array of a header, printed by programs in C and in C++."""
    pathlib.Path("print.c").write_text(PRINT.format(symbol, symbol.upper()).replace(f"{symbol}.h", name))
    outputs = []
    for compiler in (["cc", "-std=c99"], ["c++", "-x", "c++", "-std=c++11"]):
        subprocess.run([*compiler, "-Wall", "-Wextra", "-Werror", "-pedantic", "print.c", "-o", "print"],
                       check=True)
        outputs.append(subprocess.check_output("./print"))
    assert outputs[0] == outputs[1]
    return outputs[0]


class Frames(CommandCase):
    def test_other_programs_read_the_codes_and_view_shows_them(self):
        for codes, width, height in (((1, 0, 0, 1), 24, 16), ((3, 1, 0, 2), 13, 3), ((0, 5, 9, 2), 15, 2),
                                     ((0, 4, 2, 1), 1, 1), ((7, 200, 3, 255), 9, 9)):
            pathlib.Path("p.lut").write_bytes(package_with(codes))
            options = f"--panel p.lut --size {width}x{height}"
            self.oxel(f"render photo.png -o plain.bin --layout 0 {options}")
            expected = np.fromfile("plain.bin", np.uint8).reshape(height, width)
            shown = PANEL.palette[[codes.index(code) for code in expected.flat]].reshape(height, width, 3)
            needed = max(codes).bit_length()
            packed = next(bits for bits in (1, 2, 4, 8) if bits >= needed)
            plane_bytes = height * ((width + 7) // 8)
            picture = lambda data: np.asarray(Image.open(io.BytesIO(data)))
            readers = {
                "bytes": ("bin", lambda data: unpacked(data, 8, width, height)),
                "rgb": ("bin", lambda data: np.frombuffer(data, np.uint8).reshape(height, width, 3)[..., 1]),
                **{f"packed{bits}": ("bin", lambda data, bits=bits: unpacked(data, bits, width, height))
                   for bits in (4, 2, 1) if bits >= needed},
                "planes1": ("bin", lambda data: sum(
                    unpacked(data[i * plane_bytes:(i + 1) * plane_bytes], 1, width, height) << i
                    for i in range(needed))),
                "png": ("png", picture), "bmp": ("bmp", picture),
                "c": ("h", lambda data: unpacked(compiled("a.h", "a_frame"), packed, width, height))}
            for form, (suffix, read) in readers.items():
                choice = "" if suffix != "bin" else f"--frame {form}"
                self.oxel(f"render photo.png -o a.{suffix} --quiet {options} {choice}")
                data = pathlib.Path(f"a.{suffix}").read_bytes()
                np.testing.assert_array_equal(read(data), expected, f"{form} {codes} {width}x{height}")
                self.oxel(f"render photo.png -o a.{suffix}.gz {options} {choice}")
                packed_file = pathlib.Path(f"a.{suffix}.gz").read_bytes()
                self.assertEqual(gzip.decompress(packed_file), data)
                self.assertEqual(packed_file[4:8], bytes(4), "tells a time")
                self.oxel(f"view a.{suffix}.gz -o view.png {options} {choice}")
                np.testing.assert_array_equal(colours_of("view.png"), shown, form)
            for name in ("a.png", "a.bmp"):
                np.testing.assert_array_equal(Image.open(name).convert("RGB"), shown, name)
            for bits in (4, 2, 1):
                if bits < needed and width > 9:
                    self.refused(f"render photo.png -o new --frame packed{bits} {options}",
                                 f"p.lut: its code \\d+ does not fit {bits} bits")

    def test_frames_of_others_and_damaged_ones(self):
        size = "--panel panel.lut --size 24x16"
        self.oxel(f"render photo.png -o a.bin --quiet {size} --preview preview.png")
        codes = np.fromfile("a.bin", np.uint8).reshape(16, 24)
        stream = io.BytesIO()
        Image.fromarray(codes).save(stream, "PNG")  # grey: Pillow filters its rows
        png = bytearray(stream.getvalue())
        png[25] = 3  # indexed
        png[29:33] = struct.pack(">I", zlib.crc32(png[12:29]))
        pathlib.Path("grey.png").write_bytes(png)
        self.oxel(f"view grey.png -o v.png --panel panel.lut")
        np.testing.assert_array_equal(colours_of("v.png"), colours_of("preview.png"))
        for name in ("a.png", "a.bmp", "a.h", "a.bin.gz"):
            self.oxel(f"render photo.png -o {name} --quiet {size}")
            self.oxel(f"view {name} -o v.png {size}")
            np.testing.assert_array_equal(colours_of("v.png"), colours_of("preview.png"))
            whole = pathlib.Path(name).read_bytes()
            for tenths in range(1, 10, 2):
                pathlib.Path("cut_" + name).write_bytes(whole[:len(whole) * tenths // 10])
                self.refused(f"view cut_{name} -o no.png {size}", f"cut_{name}: ")
            self.refused(f"view {name} -o no.png --panel panel.lut --size 24x17", f"{name}: (holds a frame|has)")
        Image.fromarray(PHOTO).save("colours.png")
        self.refused(f"view colours.png -o no.png {size}", "colours.png: is not an indexed PNG")
        pathlib.Path("bomb.png.gz").write_bytes(gzip.compress(bytes(10 ** 7)))
        self.refused(f"view bomb.png.gz -o no.png {size}", "bomb.png.gz: holds more than")

    def test_names_in_c_come_from_the_file(self):
        for name, symbol in (("int.h", "int_frame"), ("1-int.h", "frame_1_int_frame"), ("_X__y.h", "X_y_frame"),
                             ("ü.h", "frame"), ("frame.h", "frame"), ("a.b.h", "a_b_frame")):
            self.oxel(f"render photo.png -o {name} --panel panel.lut")
            self.assertEqual(len(compiled(name, symbol)), 24 * 16 // 4)

    def test_pipes_and_the_standard_streams(self):
        expected = self.frame("").tobytes()
        photo = pathlib.Path("photo.png").read_bytes()
        render = [COMMAND, *"render - --panel panel.lut -o -".split()]
        self.assertEqual(subprocess.run(render, input=photo, capture_output=True).stdout, expected)
        os.mkfifo("in")
        os.mkfifo("out")
        with contextlib.ExitStack() as stack:
            for work in (lambda: pathlib.Path("in").write_bytes(photo),
                         lambda: self.assertEqual(pathlib.Path("out").read_bytes(), expected)):
                thread = threading.Thread(target=work)
                thread.start()
                stack.callback(thread.join)
            self.oxel("render in --panel panel.lut -o out")
        mine, terminal = os.openpty()
        done = subprocess.run(render, input=photo, stdout=terminal, stderr=subprocess.PIPE)
        os.close(mine)
        os.close(terminal)
        self.assertIn((2, True), [(done.returncode, b"terminal" in done.stderr)])
        self.oxel("view - --panel panel.lut --size 24x16 -o v.png --gzip", stdin=gzip.compress(expected))
        pathlib.Path("list").write_text("photo.png\n")
        self.oxel("render --list list --panel panel.lut -o listed --frame png --gzip")
        self.assertTrue(os.path.exists("listed/photo.png.png.gz"))
        self.assertIn("--list -", self.oxel("render - --panel panel.lut -o listed/", code=1, stdin=photo))
        for wrong in ("-o x.jpg", "-o x.png --frame c", "-o x.png --output eo", "-o - --json", "-o listed -o -"):
            self.oxel(f"render photo.png --panel panel.lut {wrong}", code=2)

    def test_the_command_explains_itself(self):
        for arguments, code, message in (
                ("rendr", 2, "unknown command rendr; did you mean render?"),
                ("package inof", 2, "did you mean info?"), ("help rendr", 2, "did you mean render?"),
                ("render a --pannel b", 2, "unknown option --pannel; did you mean --panel?"),
                ("render a -o b --panel six-color", 1, "did you mean six-colour?"),
                ("package build p.json -o f", 1, 'unknown key "layout"; did you mean tft_layout?'),
                ("render a --config c.toml", 2, "unknown key render.fitt; did you mean fit?"),
                ("paint", 2, "unknown command paint (")):
            pathlib.Path("p.json").write_text('{"name": "p", "layout": 1, "colours": []}')
            pathlib.Path("c.toml").write_text("[render]\nfitt = 1\n")
            self.assertIn(message, self.oxel(arguments, code=code))
        alone = subprocess.run([COMMAND], capture_output=True)
        self.assertIn(b"oxel view ", alone.stdout)
        self.assertEqual(self.oxel("version"), "oxel 2.2.1\n")
        self.assertIn("v1.0.0", self.oxel("version --log"))
        self.assertEqual(self.oxel("help package build"), self.oxel("package build --help"))
        pathlib.Path("p.json").write_text('{"name": "p", "colours": [{"name": "k", "rgb": [0, 0, 0], "tcon": 7},'
                                          ' {"name": "w", "rgb": [250, 250, 250], "tcon": 9}]}')
        self.assertRegex(self.oxel("package info p.json"), r"(?s)a panel description.* 9  w")
        for panel, more, noted in (("p.json", "", False), ("panel.lut", "", True), ("panel.lut", "--layout 0", False)):
            self.oxel(f"render photo.png -o f --panel {panel} {more}")
            self.assertEqual("no driving layout" in self.errors, noted)

    def test_shells_complete_choices_and_commands(self):
        bash = "source $COMPLETION/oxel; COMP_WORDS=({0}); COMP_CWORD={1}; _oxel; echo ${{COMPREPLY[@]}}"
        fish = 'source $COMPLETION/oxel.fish; complete -C "{0}" | cut -f 1'
        zsh = """zmodload zsh/zpty; zpty z zsh -f -i
zpty -w z "fpath=($COMPLETION \\$fpath); autoload -Uz compinit; compinit -u -D; bindkey '^I' list-choices"
zpty -w z "zstyle ':completion:*' verbose no; LISTMAX=999; PROMPT=; stty columns 300; echo RE''ADY"
zpty -r z line '*READY*'; zpty -w -n z "{0}"$'\\t'
zpty -r z line '*{2}*'; print -r -- $line"""
        for words, expected in (("oxel render --dither st", "stucki stucki-serpentine"), ("oxel pac", "package"),
                                ("oxel render --fit = co", "contain cover"), ("oxel view a --fr", "--frame"),
                                ("oxel chart ", "gradients patches scene"),
                                ("oxel render --panel si", "six-colour")):
            for shell, script in (("bash", bash), ("fish", fish), ("zsh", zsh)):
                line = words if shell == "bash" else words.replace(" = ", "=")
                done = subprocess.run([shell, "-c", script.format(line, words.count(" "), expected.replace(" ", "*"))], check=True,
                                      capture_output=True, timeout=60).stdout.decode()
                for word in expected.split():
                    self.assertIn(word, done.replace("--fit=", ""), (shell, words))


if __name__ == "__main__":
    unittest.main()
