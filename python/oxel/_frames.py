"""Frames: rendered images in the form that a panel takes."""

from __future__ import annotations

import ctypes
import enum
import itertools
from typing import TYPE_CHECKING, Any, Iterator, Optional, Tuple

import numpy as np

from ._arguments import choose, int32
from ._images import Picture, Pixels, like, pixels_of, size_of
from ._library import BadSelector, FrameError, NativeCodes, library

if TYPE_CHECKING:
    from ._panel import Panel


def _format_names() -> Iterator[str]:
    for i in itertools.count():
        name: Optional[bytes] = library.oxel_frame_format(i)
        if name is None:
            return
        yield name.decode()


_FORMATS = {name: i for i, name in enumerate(_format_names())}


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


def _codes_of(panel: Panel, indices: bool) -> Tuple[NativeCodes, Any]:
    """The codes, and what they point at."""
    codes = np.arange(panel.colours, dtype=np.uint8) if indices else panel.codes
    palette = panel.palette
    return NativeCodes(codes.ctypes.data, palette.ctypes.data, len(codes)), (codes, palette)


def _delivered(native: Any) -> Tuple[bytes, int, int]:
    try:
        frame = native.contents
        if frame.error is not None:
            raise FrameError(frame.error.decode(errors="replace"))
        return ctypes.string_at(frame.bytes, frame.size), frame.height, frame.width
    finally:
        library.oxel_frame_free(native)


def encode_frame(frame: Any, panel: Panel, format: str = "bytes", *, gzip: bool = False,
                 indices: bool = False, name: str = "frame.h") -> bytes:
    """The file that a device takes, of a frame that `Panel.render` has made.

    Args:
        frame: (height, width, 3) array of codes, each three times, as `Panel.render` delivers;
            in a driving layout after `transfer`.
        panel: whose codes they are.
        format: "bytes", one byte a pixel; "rgb", three; "packed4", "packed2", "packed1", the
            leftmost pixel in the highest bits; "planes1", a plane like packed1 for each bit of the
            largest code, the lowest bit's first; "png", "bmp", indexed, in the measured colours;
            "c", a header with a constant array.
        gzip: compress it; the same frame gives the same bytes.
        indices: the frame holds palette indices instead of codes.
        name: of the file, for the names in a header.

    Raises:
        FrameError: a code does not fit the format.

    >>> panel = oxel.Panel.builtin()
    >>> codes = np.array([[[1] * 3, [6] * 3]], np.uint8)
    >>> oxel.encode_frame(codes, panel, "packed4")
    b'\\x16'
    """
    pixels = pixels_of(frame)
    codes, kept = _codes_of(panel, indices)
    return _delivered(library.oxel_frame_encode(
        choose("format", format, _FORMATS), gzip, name.encode(), *size_of(pixels),
        pixels.ctypes.data, ctypes.byref(codes)))[0]


def decode_frame(data: bytes, panel: Panel, format: str = "bytes",
                 size: Optional[Tuple[int, int]] = None, *, gzip: bool = False,
                 indices: bool = False) -> Pixels:
    """Undoes `encode_frame`: (height, width, 3) array of codes, each three times.

    Args:
        data: the file.
        panel: whose codes it holds.
        format: as in `encode_frame`.
        size: width and height of the frame; "png", "bmp" and "c" tell it themselves.
        gzip: the file is compressed.
        indices: it holds palette indices instead of codes.

    Raises:
        FrameError: the file is damaged or has another format or size.

    >>> panel = oxel.Panel.builtin()
    >>> oxel.decode_frame(b"\\x16", panel, "packed4", size=(2, 1))[:, :, 0]
    array([[1, 6]], dtype=uint8)
    """
    width, height = (int32("size", length) for length in size or (0, 0))
    if size is not None and (width < 1 or height < 1):
        raise ValueError(f"size={size}: must be a width and a height")
    codes, kept = _codes_of(panel, indices)
    content, height, width = _delivered(library.oxel_frame_decode(
        choose("format", format, _FORMATS), gzip, width, height, bytes(data), len(data),
        ctypes.byref(codes)))
    return np.frombuffer(bytearray(content), np.uint8).reshape(height, width, 3)
