"""NumPy arrays and Pillow images as the library wants them, and back."""

from __future__ import annotations

import sys
from typing import TYPE_CHECKING, Any, Dict, Optional, Tuple, TypeVar

import numpy as np
from numpy.typing import NDArray

from ._library import library

if TYPE_CHECKING:
    from PIL import Image

    Picture = TypeVar("Picture", NDArray[np.uint8], Image.Image)
else:
    Picture = TypeVar("Picture")

Pixels = NDArray[np.uint8]

ORDERS = {"rgb": 0, "bgr": 1}


def choose(what: str, name: Any, values: Dict[str, int]) -> int:
    """The value of a name, or an error that lists the names."""
    if name not in values:
        raise ValueError(f"{what}={name!r}: must be one of {', '.join(map(repr, values))}")
    return values[name]


def int32(what: str, value: int) -> int:
    """The value, which C would cut to 32 bits without a word."""
    if not isinstance(value, (int, np.integer)) or not -(2**31) <= value < 2**31:
        raise ValueError(f"{what}={value!r}: must be an integer of 32 bits")
    return int(value)


def is_pillow(image: object) -> bool:
    pillow = sys.modules.get("PIL.Image")  # who has a Pillow image has imported it
    return pillow is not None and isinstance(image, pillow.Image)


def _from_pillow(image: Image.Image) -> Pixels:
    if image.mode == "F" or image.mode.startswith("I"):
        raise TypeError(f"Pillow image of mode {image.mode!r}: must have 8 bits a channel")
    if "A" in image.getbands() or "transparency" in image.info:
        picture = image.convert("RGBA")
        white = picture.copy()
        white.paste((255, 255, 255, 255), (0, 0, *picture.size))
        white.alpha_composite(picture)
        image = white
    return np.asarray(image.convert("RGB"))


def pixels_of(image: object) -> Pixels:
    """The image as contiguous (height, width, 3) bytes; copied only if it is something else."""
    array = _from_pillow(image) if is_pillow(image) else np.asarray(image)
    if array.dtype != np.uint8:
        raise TypeError(f"array of dtype {array.dtype}: must be uint8")
    if array.ndim != 3 or array.shape[2] != 3:
        raise ValueError(f"array of shape {array.shape}: must be (height, width, 3)")
    return np.ascontiguousarray(array)


def output_like(pixels: Pixels, out: Optional[Pixels] = None) -> Pixels:
    """`out` if it can take an image of this size, or a new array."""
    if out is None:
        return np.empty(pixels.shape, np.uint8)
    if not isinstance(out, np.ndarray) or out.dtype != np.uint8 or out.shape != pixels.shape:
        raise ValueError(f"out: must be an array of dtype uint8 and shape {pixels.shape}")
    if not out.flags.c_contiguous or not out.flags.writeable:
        raise ValueError("out: must be contiguous and writeable")
    if out is not pixels and np.shares_memory(out, pixels) and out.ctypes.data != pixels.ctypes.data:
        raise ValueError("out: overlaps the image without being the same memory")
    return out


def like(image: Picture, pixels: Pixels) -> Picture:
    """`pixels` as a Pillow image if `image` is one."""
    return sys.modules["PIL.Image"].fromarray(pixels) if is_pillow(image) else pixels


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
        gamma: exponent of each channel as a fraction of 255.
        order: "rgb" or "bgr", of the input and the output.
        out: array that receives the result; may be the image itself.

    Neutral amounts keep greys, but change most colours by a few levels.

    >>> red = np.full((1, 1, 3), (255, 0, 0), np.uint8)
    >>> adjust(red, hue=120)
    array([[[  0, 255,   0]]], dtype=uint8)
    """
    pixels = pixels_of(image)
    result = output_like(pixels, out)
    byte_order = choose("order", order, ORDERS)
    library.Oxel_image_adjustment(
        pixels.ctypes.data, byte_order, result.ctypes.data, byte_order, *size_of(pixels),
        int32("hue", hue), int32("saturation", saturation), int32("brightness", brightness),
        int32("contrast", contrast), float(gamma))
    return like(image, result)
