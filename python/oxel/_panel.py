"""Panels: packages of tables, the adoption of one at a time, and rendering with them."""

from __future__ import annotations

import contextlib
import ctypes
import enum
import functools
import json
import os
import struct
import threading
from typing import Any, Callable, Iterator, Mapping, NamedTuple, Optional, Tuple, Union

import numpy as np

from ._images import (ORDERS, Picture, Pixels, choose, int32, like, output_like, pixels_of,
                      size_of)
from ._library import NativePanel, PanelError, library

_DITHERS = {"floyd": 0, "jjn": 2, "stucki": 4}
_OUTPUTS = {"tcon": 1, "nominal": 2, "eo": 3}


class Layout(enum.IntEnum):
    """Driving layouts of `transfer`."""

    NONE = 0
    PAIR_MERGE_UPPER_FIRST = 1
    PAIR_MERGE_LOWER_FIRST = 2
    PAIR_SWAP = 3
    HSD_ODD_EVEN = 4
    HSD_EVEN_ODD = 5


class Verdict(enum.IntEnum):
    """Which rendering `Panel.render_guarded` delivered."""

    PASSED = 0
    """the image as given"""
    PASSED_SHIFTED = 1
    """the image moved down by one row, under a row of zeros"""
    BLANKED = 2
    """the panel's first colour everywhere: both renderings were rejected"""


class Renderings(NamedTuple):
    """The three forms of `Panel.render_all`."""

    tcon: Any
    nominal: Optional[Any]
    """None for panels of other than six colours"""
    eo: Any


class Guarded(NamedTuple):
    """What `Panel.render_guarded` delivers."""

    frame: Any
    verdict: Verdict


class _Adoption:
    """Which panel the library has adopted.

    Any number of renders with that panel run at once; one with another panel waits until they are
    done and lets no new one start before it.
    """

    def __init__(self) -> None:
        self._reset()
        os.register_at_fork(after_in_child=self._reset)  # a child has none of the threads inside

    def _reset(self) -> None:
        self._entrance = threading.Lock()
        self._state = threading.Condition()
        self._panel: Optional[Panel] = None
        self._renders = 0

    @contextlib.contextmanager
    def of(self, panel: Panel) -> Iterator[None]:
        with self._entrance, self._state:
            if self._panel is not panel:
                self._state.wait_for(lambda: self._renders == 0)
                library.Oxel_Morvel6_render_init(panel.package, len(panel.package))
                self._panel = panel  # keeps the bytes alive, too
            self._renders += 1
        try:
            yield
        finally:
            with self._state:
                self._renders -= 1
                if self._renders == 0:
                    self._state.notify_all()


_adoption = _Adoption()


def _open_native(call: Callable[..., Any], *arguments: Any) -> Tuple[bytes, str, Any, int]:
    native = call(*arguments)
    try:
        panel: NativePanel = native.contents
        if panel.error is not None:
            raise PanelError(panel.error.decode(errors="replace"))
        size = (panel.width, panel.height) if panel.width else None
        package = ctypes.string_at(panel.package, panel.package_size)
        return package, panel.name.decode(errors="replace"), size, panel.layout
    finally:
        library.oxel_panel_free(native)


def _open_json(description: Union[str, Mapping[str, Any]]) -> Tuple[bytes, str, Any, int]:
    text = description if isinstance(description, str) else json.dumps(description)
    if "\0" in text:
        raise PanelError("description: holds a NUL")
    encoded = text.encode()
    return _open_native(library.oxel_panel_from_bytes, b"description", encoded, len(encoded))


def build_package(description: Union[str, Mapping[str, Any]]) -> bytes:
    """Builds the LUT package of a panel description: JSON text, or the same as a mapping.

    >>> package = build_package({"name": "two inks", "colours": [
    ...     {"name": "black", "rgb": [34, 30, 42], "tcon": 0},
    ...     {"name": "white", "lab": [68.5, -2.0, 2.7], "tcon": 1}]})
    >>> Panel(package).colours
    2
    """
    return _open_json(description)[0]


class Panel:
    """A panel: its LUT package, and what its description says.

    Panels may be used side by side and from any number of threads. Renders with one panel run at
    once. The library knows one package at a time: a render with another panel than the one before
    waits for the renders under way and pays for the check of the new package.

    >>> panel = Panel.builtin()
    >>> panel
    <oxel.Panel 'six-colour', 6 colours, 1600x1200>
    >>> panel.palette[1], panel.codes
    (array([165, 168, 162], dtype=uint8), array([0, 1, 2, 3, 5, 6], dtype=uint8))
    """

    package: bytes
    name: str
    size: Optional[Tuple[int, int]]
    """width and height of the panel's pictures, if its description tells"""
    layout: Layout
    """the driving layout of its frames, for `transfer`"""

    def __init__(self, package: bytes, name: str = "", size: Optional[Tuple[int, int]] = None,
                 layout: int = 0) -> None:
        """A panel of this LUT package, whose length and CRC-32 are checked."""
        self.package = bytes(package)
        self.name = name
        self.size = size
        self.layout = Layout(layout)
        with _adoption.of(self):
            pass

    @classmethod
    def from_file(cls, path: Union[str, "os.PathLike[str]"]) -> Panel:
        """The panel of a LUT package or a description in JSON."""
        with open(path, "rb") as file:
            content = file.read()
        return cls(*_open_native(library.oxel_panel_from_bytes, os.fsencode(path), content,
                                 len(content)))

    @classmethod
    def from_json(cls, description: Union[str, Mapping[str, Any]]) -> Panel:
        """The panel of a description: JSON text, or the same as a mapping."""
        return cls(*_open_json(description))

    @classmethod
    def builtin(cls, name: str = "six-colour") -> Panel:
        """A panel that comes with the package; the same object each time."""
        return _built_in(name)

    def __repr__(self) -> str:
        size = f", {self.size[0]}x{self.size[1]}" if self.size else ""
        return f"<oxel.Panel {self.name!r}, {self.colours} colours{size}>"

    def __reduce__(self) -> Tuple[Any, ...]:
        return Panel, (self.package, self.name, self.size, int(self.layout))

    @property
    def colours(self) -> int:
        """The number of colours."""
        return int(struct.unpack_from("<H", self.package, 10)[0])

    @property
    def palette(self) -> Pixels:
        """The measured colours, (colours, 3), in R, G, B."""
        return self._table(12, 3).reshape(-1, 3)

    @property
    def codes(self) -> Pixels:
        """The timing controller's code of each colour, (colours,)."""
        return self._table(16, 1)

    def _table(self, field: int, entry: int) -> Pixels:
        offset = struct.unpack_from("<I", self.package, field)[0]
        return np.frombuffer(self.package, np.uint8, entry * self.colours, offset)

    def render(self, image: Picture, dither: str = "stucki", serpentine: bool = True,
               output: str = "tcon", *, order: str = "rgb",
               out: Optional[Pixels] = None) -> Picture:
        """Renders an image to one form.

        Args:
            image: (height, width, 3) array of uint8, or a Pillow image; what comes in comes out.
                Contiguous arrays are read in place, read-only ones too; others are copied first.
            dither: "floyd", "jjn" or "stucki", error diffusion after Floyd and Steinberg, Jarvis,
                Judice and Ninke, or Stucki.
            serpentine: scan every second row from right to left.
            output: "tcon", the timing controller's code three times a pixel; "nominal", pure
                colours (six-colour panels only); "eo", the measured colours.
            order: "rgb" or "bgr", of the image and of colour outputs.
            out: array that receives the result; may be the image itself.

        Raises:
            TypeError, ValueError: what is wrong with the image or an argument.
            OxelError: the library's status, under its own name.

        >>> image = np.array([[(0, 0, 0), (255, 255, 255), (255, 0, 0)]], np.uint8)
        >>> Panel.builtin().render(image)[:, :, 0]
        array([[0, 1, 3]], dtype=uint8)
        """
        return self._render(image, dither, serpentine, output, order, out, None).frame

    def render_guarded(self, image: Picture, threshold: float, dither: str = "stucki",
                       serpentine: bool = True, output: str = "tcon", *, order: str = "rgb",
                       out: Optional[Pixels] = None) -> Guarded:
        """Renders like `render`, unless the colours change too strongly between line pairs.

        The measure is the sum, over successive pairs of rows and over the colours, of the squared
        change of each colour's share. A rendering passes if its measure is below `threshold`. If
        it does not, the image is rendered again one row lower, and if that does not either, the
        frame is the panel's first colour everywhere.

        >>> stripes = np.repeat(np.array([0, 0, 255, 255] * 4, np.uint8), 8 * 3).reshape(16, 8, 3)
        >>> Panel.builtin().render_guarded(stripes, threshold=1.0).verdict
        <Verdict.PASSED_SHIFTED: 1>
        """
        return self._render(image, dither, serpentine, output, order, out, float(threshold))

    def _render(self, image: Any, dither: str, serpentine: bool, output: str, order: str,
                out: Optional[Pixels], threshold: Optional[float]) -> Guarded:
        pixels = pixels_of(image)
        frame = output_like(pixels, out)
        byte_order = choose("order", order, ORDERS)
        arguments = (pixels.ctypes.data, byte_order, frame.ctypes.data, byte_order,
                     *size_of(pixels), choose("dither", dither, _DITHERS) + bool(serpentine),
                     choose("output", output, _OUTPUTS))
        verdict = ctypes.c_int32()
        with _adoption.of(self):
            if threshold is None:
                library.Oxel_Morvel6_render(*arguments)
            else:
                library.Oxel_Morvel6_render_with_powerGuard(*arguments, threshold,
                                                            ctypes.byref(verdict))
        return Guarded(like(image, frame), Verdict(verdict.value))

    def render_all(self, image: Picture, dither: str = "stucki", serpentine: bool = True, *,
                   order: str = "rgb") -> Renderings:
        """Renders an image to all three forms in the time of one.

        >>> tcon, nominal, eo = Panel.builtin().render_all(np.zeros((1, 1, 3), np.uint8))
        >>> tcon, nominal, eo
        (array([[[0, 0, 0]]], dtype=uint8), array([[[0, 0, 0]]], dtype=uint8), \
array([[[33, 32, 37]]], dtype=uint8))
        """
        pixels = pixels_of(image)
        tcon, eo = output_like(pixels), output_like(pixels)
        nominal = output_like(pixels) if self.colours == 6 else None
        with _adoption.of(self):
            library.Oxel_Morvel6_render_All(
                pixels.ctypes.data, choose("order", order, ORDERS), tcon.ctypes.data,
                None if nominal is None else nominal.ctypes.data, eo.ctypes.data, None,
                *size_of(pixels), choose("dither", dither, _DITHERS) + bool(serpentine))
        return Renderings(like(image, tcon), None if nominal is None else like(image, nominal),
                          like(image, eo))


@functools.lru_cache(maxsize=None)
def _built_in(name: str) -> Panel:
    return Panel(*_open_native(library.oxel_panel_built_in, name.encode()))


def transfer(image: Picture, layout: int, *, copy: bool = True) -> Picture:
    """Rearranges an image for a panel's driving layout.

    Merges make it twice as wide and half as high, splits the other way round; an odd row or column
    is dropped. Layout 0 leaves the image as it is. Without `copy` a contiguous, writeable array is
    rearranged in place, and the result is a view of it.

    >>> codes = np.arange(4, dtype=np.uint8).reshape(2, 2, 1).repeat(3, axis=2)
    >>> transfer(codes, Layout.PAIR_MERGE_UPPER_FIRST)[:, :, 0]
    array([[0, 2, 1, 3]], dtype=uint8)
    """
    pixels = pixels_of(image)
    if copy or not pixels.flags.writeable:
        pixels = pixels.copy()
    if layout == 0:
        return like(image, pixels)
    width, height = (ctypes.c_int32(length) for length in size_of(pixels))
    library.Oxel_TFT_format_transfer(pixels.ctypes.data, ctypes.byref(width), ctypes.byref(height),
                                     int32("layout", layout))
    size = 3 * width.value * height.value
    return like(image, pixels.reshape(-1)[:size].reshape(height.value, width.value, 3))
