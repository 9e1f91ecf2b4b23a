"""NumPy arrays and Pillow images as the library wants them, and back."""

from __future__ import annotations

import math
import os
import reprlib
import sys
from typing import TYPE_CHECKING, Any, Optional, Tuple, TypeVar, cast

import numpy as np
from numpy.typing import NDArray

from ._arguments import choose, int32, real
from ._library import BadArgument, library

if TYPE_CHECKING:
    from PIL import Image

    Picture = TypeVar("Picture", NDArray[np.uint8], Image.Image)
else:
    Picture = TypeVar("Picture")

Pixels = NDArray[np.uint8]

_ORDERS = {"rgb": 0, "bgr": 1}


def is_pillow(image: object) -> bool:
    pillow = sys.modules.get("PIL.Image")  # who has a Pillow image has imported it
    return pillow is not None and isinstance(image, pillow.Image)


def _from_pillow(image: Any) -> Pixels:
    if image.mode == "F" or image.mode.startswith("I"):
        raise TypeError(f"image: Pillow image of mode {image.mode!r}: must have 8 bits a channel")
    if "A" in image.getbands() or "transparency" in image.info:
        picture = image.convert("RGBA")
        white = picture.copy()
        white.paste((255, 255, 255, 255), (0, 0, *picture.size))
        white.alpha_composite(picture)
        image = white
    return np.asarray(image.convert("RGB"))


def pixels_of(image: object) -> Pixels:
    """The image as contiguous (height, width, 3) bytes; copied only if it is something else."""
    if isinstance(image, (str, bytes, os.PathLike)):
        raise TypeError(f"image={reprlib.repr(image)}: must be an array or a Pillow image; "
                        "PIL.Image.open reads a file")
    array = _from_pillow(image) if is_pillow(image) else np.asarray(image)
    if array.dtype == object:
        raise TypeError(f"image={reprlib.repr(image)}: must be an array or a Pillow image")
    if array.dtype != np.uint8:
        raise TypeError(f"image: array of dtype {array.dtype}: must be uint8, 0 to 255")
    if array.ndim != 3 or array.shape[2] != 3:
        hint = ""
        if array.ndim == 2:
            hint = "; greys become colours by np.repeat(image[..., None], 3, axis=2)"
        elif array.ndim == 3 and array.shape[2] == 4:
            hint = "; image[..., :3] leaves a fourth channel out"
        raise ValueError(f"image: array of shape {array.shape}: must be (height, width, 3){hint}")
    if max(array.size, *array.shape) >= 2**31:
        raise BadArgument(f"image: array of shape {array.shape}: must have less than 2^31 bytes")
    return np.ascontiguousarray(array)


def order_of(image: object, order: str) -> int:
    """The library's value of a byte order."""
    value = choose("order", order, _ORDERS)
    if value and is_pillow(image):
        raise ValueError(f"order={order!r}: is for arrays; a Pillow image is in R, G, B")
    return value


def output_like(pixels: Pixels, out: Optional[Pixels] = None) -> Pixels:
    """`out` if it can take an image of this size, or a new array."""
    if out is None:
        return np.empty(pixels.shape, np.uint8)
    if not isinstance(out, np.ndarray):
        raise TypeError(f"out={reprlib.repr(out)}: must be an array")
    if out.dtype != np.uint8 or out.shape != pixels.shape:
        raise ValueError(f"out: array of dtype {out.dtype} and shape {out.shape}: "
                         f"must be uint8 and {pixels.shape}")
    if not out.flags.c_contiguous or not out.flags.writeable:
        raise ValueError("out: must be contiguous and writeable")
    if np.shares_memory(out, pixels) and out.ctypes.data != pixels.ctypes.data:
        raise ValueError("out: overlaps the image without being the same memory")
    return out


def like(image: Picture, pixels: Pixels) -> Picture:
    """`pixels` as a Pillow image if `image` is one."""
    return cast(Picture,
                sys.modules["PIL.Image"].fromarray(pixels) if is_pillow(image) else pixels)


def size_of(pixels: Pixels) -> Tuple[int, int]:
    """Width and height."""
    return pixels.shape[1], pixels.shape[0]


def adjust(
    image: Picture,
    hue: int = 0,
    saturation: int = 0,
    brightness: int = 0,
    contrast: int = 0,
    gamma: float = 1.0,
    *,
    order: str = "rgb",
    out: Optional[Pixels] = None,
) -> Picture:
    """Adjusts an image in hue, saturation and lightness, then applies a gamma curve.

    Args:
        image: (height, width, 3) array of uint8, or a Pillow image; what comes in comes out.
        hue: degrees added to the hue; any value. The sum is truncated toward zero, then taken modulo
            360: where it is negative, 360 degrees more may give a degree less.
        saturation: hundredths added to a saturation of at least 0.1.
        brightness: hundredths added to the lightness.
        contrast: lightness is stretched about one half by the factor 1 + contrast / 50.
        gamma: exponent of each channel as a fraction of 255; above 0.
        order: "rgb" or "bgr", of an array's channels, on entry and in the result.
        out: array of the image's shape that receives the result; may be the image itself.

    Raises:
        TypeError, ValueError: what is wrong with the image or an argument.

    Neutral amounts keep greys, but change most colours by a few levels.

    >>> red = np.full((1, 1, 3), (255, 0, 0), np.uint8)
    >>> oxel.adjust(red, hue=120)
    array([[[  0, 255,   0]]], dtype=uint8)
    """
    exponent = real("gamma", gamma)
    if not 0 < exponent < math.inf:
        raise ValueError(f"gamma={gamma!r}: must be above 0")
    byte_order = order_of(image, order)
    pixels = pixels_of(image)
    result = output_like(pixels, out)
    library.Oxel_image_adjustment(
        pixels.ctypes.data, byte_order, result.ctypes.data, byte_order, *size_of(pixels),
        int32("hue", hue), int32("saturation", saturation), int32("brightness", brightness),
        int32("contrast", contrast), exponent)
    return like(image, result)
