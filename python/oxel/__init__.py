"""Renders pictures for colour e-paper panels.

    import numpy as np, oxel
    from PIL import Image

    panel = oxel.Panel.builtin("six-colour")
    frame = panel.render(Image.open("photo.jpg").resize(panel.size))
    np.asarray(frame)[..., 0].tofile("frame.bin")  # one controller code a pixel

Images are (height, width, 3) arrays of uint8 or Pillow images, and results are of the same kind
as the image that was given. The interpreter lock is released while the library works.
"""

from ._frames import Layout, decode_frame, encode_frame, transfer
from ._images import adjust
from ._library import (BadArgument, BadPackageCRC, BadPackageLength, BadSelector, FrameError,
                       NotInitialised, NotSixColours, OutOfMemory, OxelError, PanelError,
                       UnusableTables, library)
from ._panel import Guarded, Panel, Renderings, Verdict, build_package
from ._preparation import develop

__version__ = library.Oxel_get_updateLog().split()[-1].decode().lstrip("v")

__all__ = [
    "BadArgument", "BadPackageCRC", "BadPackageLength", "BadSelector", "FrameError", "Guarded",
    "Layout", "NotInitialised", "NotSixColours", "OutOfMemory", "OxelError", "Panel", "PanelError",
    "Renderings", "UnusableTables", "Verdict", "adjust", "build_package", "decode_frame",
    "develop", "encode_frame", "transfer",
]
