"""A photo frame: renders the next picture of a folder whenever the folder changes.

    python3 photo_frame.py PICTURES FRAME [--panel FILE] [--dither NAME] [--inks NAME]
                           [--poll SECONDS] [--frames COUNT]

New and changed pictures are rendered one after another, one each time that the folder is looked
at. FRAME is replaced when the new one is whole, so that whatever sends it to the panel never reads
half of it. A picture that cannot be read is named, and the frame stays.
"""

import argparse
import os
import sys
import time
from pathlib import Path
from typing import Dict, Iterator, Optional

import numpy as np
import oxel
from PIL import Image, ImageOps


def stamp(path: Path) -> Optional[int]:
    """When a file changed last; nothing for a folder or a file that is gone meanwhile."""
    try:
        return path.stat().st_mtime_ns if path.is_file() else None
    except OSError:
        return None


def changes(folder: Path, poll: float) -> Iterator[Path]:
    """Each new or changed file of the folder, for ever."""
    known: Dict[Path, Optional[int]] = {}
    while True:
        try:
            now = {path: stamp(path) for path in folder.iterdir()}
        except OSError as error:  # a memory stick that is out, say
            print(error, file=sys.stderr, flush=True)
            time.sleep(poll)
            continue
        changed = sorted(path for path in now if now[path] not in (None, known.get(path)))
        known = {path: mark for path, mark in now.items() if path not in changed[1:]}
        if changed:
            yield changed[0]
        else:
            time.sleep(poll)


def show(picture: Path, frame: Path, panel: oxel.Panel, dither: str, inks: str) -> None:
    """Renders a picture to the frame's file."""
    with Image.open(picture) as file:
        image = ImageOps.exif_transpose(file).convert("RGBA")  # which keeps what is transparent
    if panel.size:
        image = ImageOps.fit(image, panel.size)
    codes = oxel.transfer(np.asarray(panel.render(image, dither, inks=inks)), panel.layout)
    part = frame.with_name(frame.name + ".part")
    codes[..., 0].tofile(part)
    os.replace(part, frame)


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("pictures", type=Path)
    parser.add_argument("frame", type=Path)
    parser.add_argument("--panel", type=Path, help="LUT package or description")
    parser.add_argument("--dither", default="floyd", choices=("floyd", "jjn", "stucki", "none"),
                        help="none for drawings and screenshots (floyd)")
    parser.add_argument("--inks", default="auto", choices=("auto", "measured", "nominal", "off"),
                        help="which flat colours are inks (auto)")
    parser.add_argument("--poll", type=float, default=5.0, help="seconds between looks (5)")
    parser.add_argument("--frames", type=int, help="stop after so many pictures")
    options = parser.parse_args()
    if not options.pictures.is_dir():
        parser.error(f"{options.pictures}: not a folder")
    if options.frame.resolve().parent == options.pictures.resolve():
        parser.error(f"{options.frame}: would be taken for a picture there")
    panel = oxel.Panel.from_file(options.panel) if options.panel else oxel.Panel.builtin()
    for count, picture in enumerate(changes(options.pictures, options.poll), start=1):
        try:
            show(picture, options.frame, panel, options.dither, options.inks)
            print(f"{picture}: shown", flush=True)
        except Exception as error:  # readers of broken files raise any
            print(f"{picture}: {error or type(error).__name__}", file=sys.stderr, flush=True)
        if count == options.frames:
            break
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(130)
