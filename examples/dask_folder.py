"""Renders a folder of photographs on a Dask cluster.

    python3 dask_folder.py PHOTOS FRAMES [--panel FILE] [--scheduler tcp://HOST:8786]

Without --scheduler it starts two workers on this machine. Workers get the photographs' bytes and
return frames, so they need no file of this machine, only the packages oxel, numpy, PIL and
distributed. Each worker process has a library of its own and adopts the panel once. For a remote
cluster start "dask scheduler" on one host and "dask worker tcp://HOST:8786" on the others.
"""

import argparse
import io
import itertools
import os
import sys
from pathlib import Path
from typing import Dict, Iterator, List

import numpy as np
import oxel
from dask.distributed import Client, Future, as_completed
from PIL import Image, ImageOps


def render(photo: bytes, panel: oxel.Panel) -> bytes:
    """Runs on a worker: a photograph's file to the bytes of its frame."""
    with Image.open(io.BytesIO(photo)) as file:
        picture = ImageOps.exif_transpose(file).convert("RGBA")  # which keeps what is transparent
    if panel.size:
        picture = ImageOps.fit(picture, panel.size)
    frame = oxel.transfer(np.asarray(panel.render(picture)), panel.layout)
    return frame[..., 0].tobytes()


def render_folder(client: Client, photos: Path, frames: Path, panel: oxel.Panel) -> int:
    """Renders every file of `photos`; returns how many failed, each named with its reason."""
    shared = client.scatter(panel, broadcast=True)
    names: Dict[str, str] = {}
    failed: List[str] = []

    def fail(name: str, error: BaseException) -> None:
        failed.append(name)
        print(f"{photos / name}: {error or type(error).__name__}", file=sys.stderr)

    def submit() -> Iterator[Future]:
        for path in sorted(path for path in photos.iterdir() if path.is_file()):
            try:
                future = client.submit(render, path.read_bytes(), shared, pure=False)
            except OSError as error:
                fail(path.name, error)
                continue
            names[future.key] = path.name
            yield future

    futures = submit()
    running = as_completed(list(itertools.islice(futures, 2 * sum(client.nthreads().values()))))
    for future in running:
        running.update(list(itertools.islice(futures, 1)))
        name = names.pop(future.key)
        if future.status == "error":
            fail(name, future.exception())
            continue
        part = frames / f"{name}.part"
        part.write_bytes(future.result())
        os.replace(part, frames / f"{name}.bin")
    return len(failed)


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("photos", type=Path)
    parser.add_argument("frames", type=Path)
    parser.add_argument("--panel", type=Path, help="LUT package or description")
    parser.add_argument("--scheduler", help="address of a remote scheduler")
    options = parser.parse_args()
    if not options.photos.is_dir():
        parser.error(f"{options.photos}: not a folder")
    panel = oxel.Panel.from_file(options.panel) if options.panel else oxel.Panel.builtin()
    options.frames.mkdir(parents=True, exist_ok=True)
    cluster = {"address": options.scheduler} if options.scheduler else {
        "n_workers": 2, "threads_per_worker": 1, "dashboard_address": None}
    with Client(**cluster) as client:
        return 1 if render_folder(client, options.photos, options.frames, panel) else 0


if __name__ == "__main__":
    sys.exit(main())
