"""Frames: rendered images in the form that a panel takes."""

from __future__ import annotations

import ctypes
import enum
from typing import Any

from ._arguments import int32
from ._images import Picture, like, pixels_of, size_of
from ._library import BadSelector, library


class Layout(enum.IntEnum):
    """Driving layouts of panels, for `transfer`."""

    NONE = 0
    """rows from the top, pixels from the left"""
    PAIR_MERGE_UPPER_FIRST = 1
    """rows 2p and 2p + 1 interleaved into row p, the upper row's pixel first"""
    PAIR_MERGE_LOWER_FIRST = 2
    """the same, the lower row's pixel first"""
    PAIR_SWAP = 3
    """rows 2p and 2p + 1 exchanged"""
    HSD_ODD_EVEN = 4
    """each row split into two: its first, third, ... pixel, then the others"""
    HSD_EVEN_ODD = 5
    """the same, the second, fourth, ... pixel first"""


def layout_of(layout: Any) -> Layout:
    """The layout of this number."""
    number = int32("layout", layout)
    if not 0 <= number <= 5:
        raise BadSelector(f"layout={number}: must be 0 to 5, a value of oxel.Layout")
    return Layout(number)


def transfer(image: Picture, layout: int, *, copy: bool = True) -> Picture:
    """Rearranges an image for a panel's driving layout.

    Args:
        image: (height, width, 3) array of uint8, or a Pillow image; what comes in comes out.
        layout: a value of `Layout`, as in `Panel.layout`. Merges make the image twice as wide and
            half as high, splits half as wide and twice as high; an odd row (merges) or column
            (splits) is dropped. 0 leaves it as it is.
        copy: whether the image stays as it is. Without, a contiguous, writeable array is
            rearranged in place, and the result is a view of its start.

    Raises:
        TypeError, ValueError: what is wrong with the image or an argument.
        OutOfMemory: nothing was changed.

    >>> codes = np.arange(4, dtype=np.uint8).reshape(2, 2, 1).repeat(3, axis=2)
    >>> oxel.transfer(codes, oxel.Layout.PAIR_MERGE_UPPER_FIRST)[:, :, 0]
    array([[0, 2, 1, 3]], dtype=uint8)
    """
    mode = layout_of(layout)
    pixels = pixels_of(image)
    if copy or not pixels.flags.writeable:
        pixels = pixels.copy()
    if mode == Layout.NONE:
        return like(image, pixels)
    width, height = (ctypes.c_int32(length) for length in size_of(pixels))
    library.Oxel_TFT_format_transfer(pixels.ctypes.data, ctypes.byref(width), ctypes.byref(height),
                                     mode)
    size = 3 * width.value * height.value
    return like(image, pixels.reshape(-1)[:size].reshape(height.value, width.value, 3))
