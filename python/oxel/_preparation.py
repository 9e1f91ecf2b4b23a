"""Pictures on their way into the library."""

from __future__ import annotations

import ctypes
from typing import Any, NamedTuple, Optional

import numpy as np

from ._arguments import choose, int32
from ._images import Picture, Pixels, like, order_of, output_like, pixels_of, size_of
from ._library import library

_INKS = {"auto": 0, "measured": 1, "nominal": 2, "off": 3}
_WHITE_BALANCES = {"none": 0, "auto": 1, "grey": 2}


class Page(NamedTuple):
    """What the library should render in the place of a picture."""

    picture: Pixels
    rows: int  # of them, which are to be cut off
    apart: Optional[Pixels] = None  # to be rendered too, for what is beside inks
    inks: Optional[Any] = None  # what each pixel is, as put_together wants it

    def put_together(self, colours: Pixels, apart: Optional[Pixels], frame: Pixels) -> None:
        """Puts the inks into the picture's frame. `apart` is that of the other picture."""
        if self.inks is not None:
            library.oxel_put_together(
                self.inks.ctypes.data, self.inks.size, colours.ctypes.data,
                None if apart is None else apart.ctypes.data, frame.ctypes.data)


def prepared(pixels: Pixels, byte_order: int, package: bytes, inks: str, preroll: bool) -> Page:
    choice = choose("inks", inks, _INKS)
    rows = library.oxel_preroll_rows(*size_of(pixels)) if preroll else 0
    picture = np.empty((len(pixels) + rows, *pixels.shape[1:]), np.uint8)
    if not picture.size:
        return Page(picture, rows)
    apart = np.empty_like(picture)
    plane = np.empty(pixels.shape[:2], np.int16)
    found = ctypes.c_int32()
    library.oxel_prepare(package, len(package), pixels.ctypes.data, byte_order, *size_of(pixels),
                         rows, choice, picture.ctypes.data, apart.ctypes.data, plane.ctypes.data,
                         ctypes.byref(found))
    return Page(picture, rows, apart if found.value > 1 else None, plane if found.value else None)


def _amount(what: str, value: int, least: int, most: int) -> int:
    number = int32(what, value)
    if not least <= number <= most:
        raise ValueError(f"{what}={number}: must be {least} to {most}")
    return number


def develop(
    image: Picture,
    clarity: int = 0,
    sharpen: int = 0,
    shadows: int = 0,
    highlights: int = 0,
    white_balance: str = "none",
    auto_levels: bool = False,
    monochrome: bool = False,
    *,
    order: str = "rgb",
    out: Optional[Pixels] = None,
) -> Picture:
    """Does to a photograph, at the panel's size, what photographers do before they print.

    Args:
        image: (height, width, 3) array of uint8, or a Pillow image; what comes in comes out.
        clarity: hundredths, -100 to 100: the contrast of what is some 15 pixels large.
        sharpen: hundredths, 0 to 200: the contrast of the finest detail.
        shadows, highlights: hundredths, -100 to 100: lighten what is dark or light; below 0,
            darken it. The contrast of its detail stays.
        white_balance: "auto" takes the cast of strong colours away (shades of grey: Finlayson and
            Trezzi, 2004), "grey" that of the mean (grey world: Buchsbaum, 1980), "none" nothing.
        auto_levels: stretch the light until 1 in 200 pixels is black and 1 in 200 white.
        monochrome: leave the luminance alone.
        order: "rgb" or "bgr", of an array's channels, on entry and in the result.
        out: array of the image's shape that receives the result; may be the image itself.

    Raises:
        TypeError, ValueError: what is wrong with the image or an argument.

    >>> oxel.develop(np.array([[(0, 255, 0)]], np.uint8), monochrome=True)
    array([[[220, 220, 220]]], dtype=uint8)
    """
    amounts = (
        _amount("clarity", clarity, -100, 100), _amount("sharpen", sharpen, 0, 200),
        _amount("shadows", shadows, -100, 100), _amount("highlights", highlights, -100, 100),
        choose("white_balance", white_balance, _WHITE_BALANCES),
        bool(auto_levels), bool(monochrome))
    byte_order = order_of(image, order)
    pixels = pixels_of(image)
    result = output_like(pixels, out)
    if pixels.size:
        library.oxel_develop(pixels.ctypes.data, byte_order, *size_of(pixels),
                             (ctypes.c_int32 * len(amounts))(*amounts), result.ctypes.data)
    return like(image, result)
