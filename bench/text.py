"""Prints how well black text and boxes of pure colours come out, in Markdown.

    text.py OXEL PANEL.json FOLDER

Text of 9, 12 and 18 pixels, smoothed as browsers do it, black on white, is rendered by the command
with its inks and without (plain diffusion), and reduced to the panel's measured colours by general
tools, whose black and white are first brought to the panel's. What the fonts' own engine makes of it
with one bit a pixel tells how much can be read of black and white at all. FOLDER receives the pictures.
"""

import difflib
import json
import subprocess
import sys

import numpy as np
from PIL import Image, ImageDraw, ImageFont

FONTS = ["/usr/share/fonts/truetype/dejavu/" + name for name in ("DejaVuSans.ttf", "DejaVuSerif.ttf")]
TEXT = """Departures from platform seven are delayed
by twelve minutes because of heavy snowfall.
The next train to the harbour leaves at noon,
tickets are sold in the hall beside the stairs.
Fresh bread, apples, cheese and honey on Monday,
please return the borrowed books before Friday.
Quick brown foxes jump over lazy dogs; in March
the museum shows maps, globes and old compasses.
Weather: cloudy with sunny spells, wind from the west,
highest temperature eleven degrees, rain after five.
Meeting with the architects about the garden fence
Thursday at half past ten, bring sketches and cake.
"""
SIZES = (9, 12, 18)
PURE = {"black": (0, 0, 0), "white": (255, 255, 255), "yellow": (255, 255, 0), "red": (255, 0, 0),
        "green": (0, 255, 0), "blue": (0, 0, 255)}
BOX = 60


def page(size, font, mode="L"):
    """Smoothed, or with the mode "1" as its engine draws it in black and white."""
    picture = Image.new("RGB", (32 * size, 21 * size), "white")
    draw = ImageDraw.Draw(picture)
    draw.fontmode = mode
    draw.multiline_text((size, size), TEXT, "black", ImageFont.truetype(font, size), spacing=size // 3)
    return picture


def boxes():
    """Of each pure colour, on grey, which every diffusion has to mix."""
    picture = Image.new("RGB", (2 * BOX * len(PURE), 2 * BOX), (150, 150, 150))
    for i, colour in enumerate(PURE.values()):
        picture.paste(colour, (2 * i * BOX + BOX // 2, BOX // 2, 2 * i * BOX + 3 * BOX // 2, 3 * BOX // 2))
    return picture


def inside(indices, i):
    return indices[BOX // 2:3 * BOX // 2, 2 * i * BOX + BOX // 2:2 * i * BOX + 3 * BOX // 2]


class Tools:
    """Each takes a picture to the palette index of each pixel."""

    def __init__(self, oxel, panel, folder):
        with open(panel, encoding="utf-8") as file:
            self.palette = np.array([colour["rgb"] for colour in json.load(file)["colours"]], np.uint8)
        self.command, self.panel, self.folder = oxel, panel, folder

    def oxel(self, picture, inks):
        picture.save(f"{self.folder}/page.png")
        subprocess.run([self.command, "render", f"{self.folder}/page.png", "--panel", self.panel, "--size",
                        f"{picture.width}x{picture.height}", "--inks", inks, "--output", "index", "-o",
                        f"{self.folder}/frame.bin", "--quiet"], check=True)
        return np.fromfile(f"{self.folder}/frame.bin", np.uint8).reshape(picture.height, -1)

    def inks(self, picture):
        return self.oxel(picture, "auto")

    def diffusion(self, picture):
        return self.oxel(picture, "off")

    def to_panel(self, picture):
        """What a careful user of other tools does: black becomes the panel's, and white."""
        black, white = (self.palette[i].astype(float) for i in (0, 1))
        return Image.fromarray(np.rint(black + np.asarray(picture) / 255 * (white - black)).astype(np.uint8))

    def indices(self, picture):
        pixels = np.asarray(picture.convert("RGB")).astype(int)
        return np.abs(pixels[..., None, :] - self.palette.astype(int)).sum(-1).argmin(-1)

    def pillow(self, picture):
        palette = Image.new("P", (1, 1))
        palette.putpalette(self.palette.tobytes() + self.palette[0].tobytes() * (256 - len(self.palette)))
        return self.indices(self.to_panel(picture).quantize(palette=palette, dither=Image.Dither.FLOYDSTEINBERG))

    def magick(self, picture):
        names = [f"{self.folder}/{name}.png" for name in ("page", "palette", "result")]
        self.to_panel(picture).save(names[0])
        Image.fromarray(self.palette[None]).save(names[1])
        subprocess.run(["convert-im6.q16", names[0], "-dither", "FloydSteinberg", "-remap", *names[1:]],
                       check=True)
        return self.indices(Image.open(names[2]))


def words_read(picture, folder):
    """The share of the text's words that tesseract finds, in order, in a picture three times as large."""
    large = picture.convert("L").resize((3 * picture.width, 3 * picture.height), Image.Resampling.BICUBIC)
    large.save(f"{folder}/large.png")
    found = subprocess.run(["tesseract", f"{folder}/large.png", "-", "--psm", "6"], check=True,
                           capture_output=True, text=True).stdout.split()
    wanted = TEXT.split()
    same = difflib.SequenceMatcher(None, wanted, found, autojunk=False).get_matching_blocks()
    return sum(block.size for block in same) / len(wanted)


def contrasty(picture):
    """Grey, from black to white."""
    grey = np.asarray(picture.convert("L")).astype(float)
    return Image.fromarray(np.rint(255 * (grey - grey.min()) / (grey.max() - grey.min())).astype(np.uint8))


def row(*cells):
    print("|", " | ".join(cells), "|")


def percent(share):
    return f"{100 * share:.1f} %"


def main():
    oxel, panel, folder = sys.argv[1:]
    tools = Tools(oxel, panel, folder)
    ways = {"unrendered": None, "drawn in one bit": None, "`--inks auto`": tools.inks, "plain diffusion": tools.diffusion,
            "Pillow quantize": tools.pillow, "ImageMagick -remap": tools.magick}
    print("Pixels that are not black or white, of those that are not white in the page, and words that\n"
          "tesseract reads:\n")
    row("", *(f"{size} px: coloured | read" for size in SIZES))
    row("---", *["---:"] * 2 * len(SIZES))
    for name, way in ways.items():
        cells = []
        for size in SIZES:
            read, coloured, drawn = [], 0, 0
            for font in FONTS:
                picture = page(size, font, "1" if name == "drawn in one bit" else "L")
                if way is not None:
                    indices = way(picture)
                    coloured += (indices > 1).sum()
                    drawn += (np.asarray(picture) < 250).any(-1).sum()
                    picture = contrasty(Image.fromarray(tools.palette[indices]))
                read.append(words_read(picture, folder))
            cells += [percent(coloured / drawn) if way else "", percent(sum(read) / len(read))]
        row(name, *cells)
    print("\nThe share of its own ink in a box of each pure colour:\n")
    row("", *PURE)
    row("---", *["---:"] * len(PURE))
    for name, way in ways.items():
        if way is not None:
            indices = way(boxes())
            row(name, *(percent((inside(indices, i) == i).mean()) for i in range(len(PURE))))


main()
