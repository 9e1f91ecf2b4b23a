"""Panels: where they come from, and rendering with them."""

from __future__ import annotations

import ctypes
import enum
import functools
import itertools
import json
import os
import reprlib
import struct
from typing import Any, Callable, Dict, Iterable, Mapping, NamedTuple, Optional, Tuple, Union

import numpy as np

from ._arguments import choose, did_you_mean, int32, real
from ._frames import Layout, layout_of
from ._images import Picture, Pixels, like, order_of, output_like, pixels_of, size_of
from ._library import (BadSelector, NativePackage, NativePanel, NotSixColours, OxelError,
                       PanelError, UnusableTables, library)
from ._preparation import Page, prepared

_DITHERS = {"floyd": 0, "jjn": 2, "stucki": 4}
_ALL = -2  # even, like the orders that are not serpentine
_TUNINGS = {"all": _ALL, **_DITHERS}
_OUTPUTS = {"tcon": 1, "nominal": 2, "eo": 3}
_PURE = ((0, 0, 0), (255, 255, 255), (255, 255, 0), (255, 0, 0), (0, 255, 0), (0, 0, 255))


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


def _dithering(dither: str, serpentine: bool, **others: int) -> int:
    """The library's dithering mode. `others` are names that are told beside the library's."""
    if not isinstance(serpentine, (bool, int, np.bool_)):
        raise TypeError(f"serpentine={reprlib.repr(serpentine)}: must be True or False")
    plain = str(dither).replace("-serpentine", "")
    if plain != dither and plain in _DITHERS:  # a name of the command's
        raise BadSelector(f"dither={dither!r}: is dither={plain!r}, serpentine=True here")
    return choose("dither", dither, {**_DITHERS, **others}) + bool(serpentine)


class _Opened(NamedTuple):
    """What the builder knows of a panel."""

    package: bytes
    name: str
    size: Optional[Tuple[int, int]]
    layout: int
    described: bool
    """whether it has other packages for other diffusions"""


def _open(call: str, arguments: Tuple[Any, ...], tuning: int) -> _Opened:
    native = getattr(library, call)(*arguments, tuning)
    try:
        panel: NativePanel = native.contents
        if panel.error is not None:
            raise PanelError(panel.error.decode(errors="replace"))
        size = (panel.width, panel.height) if panel.width else None
        package = ctypes.string_at(panel.package, panel.package_size)
        return _Opened(package, panel.name.decode(errors="replace"), size, panel.layout,
                       panel.described)
    finally:
        library.oxel_panel_free(native)


def _json(description: Union[str, Mapping[str, Any]]) -> Tuple[bytes, bytes, int]:
    if not isinstance(description, (str, Mapping)):
        raise TypeError(f"description={reprlib.repr(description)}: must be JSON text or a mapping; "
                        "Panel.from_file reads a file")
    text = description if isinstance(description, str) else json.dumps(dict(description))
    if "\0" in text:
        raise PanelError("description: holds a NUL")
    encoded = text.encode()
    return b"description", encoded, len(encoded)


def build_package(description: Union[str, Mapping[str, Any]], tune: str = "all") -> bytes:
    """Builds the LUT package of a panel description, or takes it from the user's cache.

    Args:
        description: JSON text, or the same as a mapping.
        tune: for which diffusion its colours should be right: "all", a compromise, "floyd", "jjn"
            or "stucki".

    Raises:
        PanelError: what is wrong with the description, and where.

    >>> package = oxel.build_package({"name": "two inks", "colours": [
    ...     {"name": "black", "rgb": [34, 30, 42], "tcon": 0},
    ...     {"name": "white", "lab": [68.5, -2.0, 2.7], "tcon": 1}]})
    >>> oxel.Panel(package).colours
    2
    """
    tuning = choose("tune", tune, _TUNINGS)
    return _open("oxel_panel_from_bytes", _json(description), tuning).package


_numbers = itertools.count(1)


class _Tables:
    """A package as renders take it.

    Raises:
        What `Panel` raises of a package.
    """

    def __init__(self, package: bytes) -> None:
        self.package = package
        self.native = NativePackage(next(_numbers), package, len(package))
        library.oxel_check(self.native)


class Panel:
    """A panel: its LUT package, and what its description says. It never changes.

    A panel of a description, as the built-in ones are, has a package for each diffusion, as the
    command has: it is built, or taken from the user's cache, before the first render that needs it.

    Panels may be used side by side and from any number of threads. Renders with one panel run at
    once. The library knows one package at a time: a render with another panel than the one before
    waits for the renders under way and pays for the check of the new package. An exception that a
    signal's handler raises, as Ctrl-C does, ends a render or comes after it, and leaves every panel
    working.

    >>> panel = oxel.Panel.builtin()
    >>> panel
    <oxel.Panel 'six-colour', 6 colours, 1600x1200>
    >>> panel.palette[1], panel.codes
    (array([165, 168, 162], dtype=uint8), array([0, 1, 2, 3, 5, 6], dtype=uint8))
    """

    def __init__(self, package: bytes, name: str = "", size: Optional[Tuple[int, int]] = None,
                 layout: int = 0) -> None:
        """A panel of this LUT package.

        Args:
            package: the package's bytes, which are copied.
            name: for messages.
            size: width and height of the panel's pictures.
            layout: the driving layout of its frames, a value of `Layout`.

        Raises:
            BadPackageLength, BadPackageCRC: it is no package, or a damaged one.
            UnusableTables: it is one that nothing can be rendered with.
            TypeError, ValueError: what is wrong with another argument.
        """
        if not isinstance(package, (bytes, bytearray, memoryview)):
            raise TypeError(f"package={reprlib.repr(package)}: must be bytes; Panel.builtin opens a "
                            "built-in panel, Panel.from_file a file")
        self._tables = {_ALL: _Tables(bytes(package))}
        self._description: Optional[Tuple[str, Tuple[Any, ...]]] = None
        self._name = name
        self._size = None if size is None else (int32("width", size[0]), int32("height", size[1]))
        self._layout = layout_of(layout)

    @classmethod
    def _opened(cls, call: str, *arguments: Any) -> Panel:
        first = _DITHERS["floyd"]  # which most renders need
        package, name, size, layout, described = _open(call, arguments, first)
        panel = cls(package, name, size, layout)
        if described:
            panel._tables = {first: panel._tables[_ALL]}
            panel._description = call, arguments
        return panel

    def _tables_for(self, dithering: int) -> _Tables:
        tuning = dithering & ~1
        if self._description is None:
            return self._tables[_ALL]
        if tuning not in self._tables:
            tables = _Tables(_open(*self._description, tuning).package)
            return self._tables.setdefault(tuning, tables)  # another thread may have been faster
        return self._tables[tuning]

    @classmethod
    def from_file(cls, path: Union[str, "os.PathLike[str]"]) -> Panel:
        """The panel of a LUT package or a description in JSON.

        Raises:
            OSError: the file cannot be read.
            PanelError: what is wrong with the description, and where.
            BadPackageLength, BadPackageCRC, UnusableTables: it is no usable package.
        """
        source = os.fsencode(path)
        with open(path, "rb") as file:
            content = file.read()
        try:
            return cls._opened("oxel_panel_from_bytes", source, content, len(content))
        except PanelError:
            raise
        except OxelError as error:
            raise type(error)(f"{os.fsdecode(source)}: {error}") from None

    @classmethod
    def from_json(cls, description: Union[str, Mapping[str, Any]]) -> Panel:
        """The panel of a description: JSON text, or the same as a mapping.

        Raises:
            PanelError: what is wrong with the description, and where.
        """
        return cls._opened("oxel_panel_from_bytes", *_json(description))

    @classmethod
    def builtin(cls, name: str = "six-colour") -> Panel:
        """A panel that comes with the package; the same object each time.

        Raises:
            PanelError: there is none of this name; it says which there are.
        """
        if not isinstance(name, str):
            raise TypeError(f"name={reprlib.repr(name)}: {did_you_mean('', cls.builtins())}")
        if name not in cls.builtins():
            raise PanelError(f"no built-in panel {reprlib.repr(name)}: "
                             f"{did_you_mean(name, cls.builtins())}")
        return _built_in(name)

    @staticmethod
    def builtins() -> Tuple[str, ...]:
        """The names of the panels that come with the package.

        >>> "six-colour" in oxel.Panel.builtins()
        True
        """
        names = map(library.oxel_panel_built_in_name, itertools.count())
        return tuple(name.decode() for name in itertools.takewhile(bool, names))

    def __repr__(self) -> str:
        size = f", {self._size[0]}x{self._size[1]}" if self._size else ""
        return f"<oxel.Panel {self._name!r}, {self.colours} colours{size}>"

    def __reduce__(self) -> Tuple[Any, ...]:
        packages = {tuning: tables.package for tuning, tables in self._tables.items()}
        return _restored, (packages, self._description, self._name, self._size, int(self._layout))

    @property
    def package(self) -> bytes:
        """The LUT package; of a description, the compromise for all diffusions, which is built, or
        taken from the user's cache, when it is first asked for."""
        return self._tables_for(_ALL).package

    @property
    def _any_package(self) -> bytes:
        return next(iter(self._tables.values())).package

    @property
    def name(self) -> str:
        """The description's name, or the file of a package."""
        return self._name

    @property
    def size(self) -> Optional[Tuple[int, int]]:
        """Width and height of the panel's pictures, if its description tells."""
        return self._size

    @property
    def layout(self) -> Layout:
        """The driving layout of its frames, for `transfer`."""
        return self._layout

    @property
    def colours(self) -> int:
        """The number of colours."""
        return int(struct.unpack_from("<H", self._any_package, 10)[0])

    @property
    def palette(self) -> Pixels:
        """The measured colours: (colours, 3) array of uint8 in R, G, B, read-only."""
        return self._table(12, 3).reshape(-1, 3)

    @property
    def codes(self) -> Pixels:
        """The timing controller's code of each colour: (colours,) array of uint8, read-only."""
        return self._table(16, 1)

    def _table(self, field: int, entry: int) -> Pixels:
        package = self._any_package
        offset = struct.unpack_from("<I", package, field)[0]
        table = package[offset:offset + entry * self.colours]
        if len(table) < entry * self.colours:
            raise UnusableTables(f"The package ends within the table of its {self.colours} colours")
        return np.frombuffer(table, np.uint8)

    def render(self, image: Picture, dither: str = "floyd", serpentine: bool = True,
               output: str = "tcon", *, order: str = "rgb", prepare: bool = True,
               inks: str = "auto", out: Optional[Pixels] = None) -> Picture:
        """Renders an image to one form.

        Args:
            image: (height, width, 3) array of uint8, or a Pillow image; what comes in comes out.
                Contiguous arrays are read in place, read-only ones too; others are copied first.
                Transparent parts of Pillow images lie on white.
            dither: "floyd", "jjn" or "stucki", error diffusion after Floyd and Steinberg, Jarvis,
                Judice and Ninke, or Stucki; "none", each pixel becomes what the package's tables
                give it, for drawings and screenshots: nothing is prepared, and no ink is found.
            serpentine: scan every second row from right to left.
            output: "tcon", the timing controller's code three times a pixel; "nominal", pure
                colours (six-colour panels only); "eo", the measured colours.
            order: "rgb" or "bgr", of an array's channels, and of the result's if it is in colour.
            prepare: dither the image to the 64 levels a channel that the package tells apart, so
                that skies and skin show no bands, and render it from 128 mirrored rows above it, so
                that the first rows are as good as the others. False gives the library the image as
                it is, in place, without inks, and tables tuned for all diffusions.
            inks: which flat areas, from 16 pixels on, are ink, and not diffused, with the smoothed
                edges between them and thin strokes on them: those of a pure colour that the panel
                has an ink for ("nominal"), of an ink's measured colour ("measured"), of either
                ("auto"), or none ("off").
            out: array of the image's shape that receives the result; may be the image itself.

        Returns:
            An image of the same width and height.

        Raises:
            TypeError, ValueError: what is wrong with the image or an argument.
            NotSixColours: "nominal", for a panel of other than six colours.
            OutOfMemory: nothing was rendered.

        >>> image = np.array([[(0, 0, 0), (255, 255, 255), (255, 0, 0)]], np.uint8)
        >>> oxel.Panel.builtin().render(image)[:, :, 0]
        array([[0, 1, 3]], dtype=uint8)
        """
        byte_order = order_of(image, order)
        pixels = pixels_of(image)
        result = output_like(pixels, out)
        form = choose("output", output, _OUTPUTS)
        if dither == "none":
            result[...] = self._colours(form, byte_order)[self._indices(pixels, byte_order)]
            return like(image, result)
        mode = _dithering(dither, serpentine, none=6)
        tables = self._tables_for(mode if prepare else _ALL)
        page = _page(pixels, byte_order, tables, prepare, inks)

        def rendered(picture: Pixels, frame: Pixels) -> Pixels:
            library.oxel_render(tables.native, picture.ctypes.data, frame.ctypes.data, byte_order,
                                *size_of(picture), mode, form)
            return frame[page.rows:]

        if page.rows:
            result[...] = rendered(page.picture, output_like(page.picture))
        else:
            rendered(page.picture, result)
        apart = None if page.apart is None else rendered(page.apart, page.apart)
        page.put_together(self._colours(form, byte_order), apart, result)
        return like(image, result)

    def _colours(self, form: int, byte_order: int) -> Pixels:
        """What an output holds for each palette index: (256, 3) array."""
        colours = np.zeros((256, 3), np.uint8)
        if form == _OUTPUTS["tcon"]:
            colours[:self.colours] = self.codes[:256, None]
        elif form == _OUTPUTS["nominal"]:
            if self.colours != 6:
                raise NotSixColours(str(NotSixColours.__doc__))
            colours[:6] = _PURE
        else:
            colours[:self.colours] = self.palette[:256]
        return np.ascontiguousarray(colours[:, ::-1]) if byte_order else colours

    def _indices(self, pixels: Pixels, byte_order: int) -> Pixels:
        """The palette index of each pixel by the tables alone."""
        rgb = np.ascontiguousarray(pixels[..., ::-1]) if byte_order else pixels
        indices = np.empty(pixels.shape[:2], np.uint8)
        library.oxel_look_up(self.package, len(self.package), rgb.ctypes.data, indices.size,
                             indices.ctypes.data)
        return indices

    def render_guarded(self, image: Picture, threshold: float, dither: str = "floyd",
                       serpentine: bool = True, output: str = "tcon", *, order: str = "rgb",
                       prepare: bool = True, out: Optional[Pixels] = None) -> Guarded:
        """Renders like `render`, unless the colours change too strongly between line pairs.

        The measure is the sum, over successive pairs of rows and over the colours, of the squared
        change of each colour's share: 0 for an even image, 2 for each complete change of colour. A
        rendering passes if its measure is below `threshold`. If it does not, the image is rendered
        again one row lower, and if that does not either, the frame is the panel's first colour
        everywhere. The image is prepared as for `render`, but without rows above it and inks.

        Returns:
            The frame, as of `render`, and a `Verdict`: which of the three it is.

        Raises:
            What `render` raises.

        >>> stripes = np.repeat(np.array([0, 0, 255, 255] * 4, np.uint8), 8 * 3).reshape(16, 8, 3)
        >>> oxel.Panel.builtin().render_guarded(stripes, threshold=1.0).verdict
        <Verdict.PASSED_SHIFTED: 1>
        """
        byte_order = order_of(image, order)
        pixels = pixels_of(image)
        frame = output_like(pixels, out)
        dithering = _dithering(dither, serpentine)
        tables = self._tables_for(dithering if prepare else _ALL)
        pixels = _page(pixels, byte_order, tables, prepare, "off", preroll=False).picture
        verdict = ctypes.c_int32()
        library.oxel_render_guarded(tables.native, pixels.ctypes.data, frame.ctypes.data,
                                    byte_order, *size_of(pixels), dithering,
                                    choose("output", output, _OUTPUTS),
                                    real("threshold", threshold), ctypes.byref(verdict))
        return Guarded(like(image, frame), Verdict(verdict.value))

    def render_all(self, image: Picture, dither: str = "floyd", serpentine: bool = True, *,
                   order: str = "rgb", prepare: bool = True, inks: str = "auto") -> Renderings:
        """Renders an image to all three forms in the time of one.

        Returns:
            Images as of `render`: codes, pure colours (None for panels of other than six colours)
            and measured colours.

        Raises:
            What `render` raises.

        >>> tcon, nominal, eo = oxel.Panel.builtin().render_all(np.zeros((1, 1, 3), np.uint8))
        >>> tcon, nominal, eo
        (array([[[0, 0, 0]]], dtype=uint8), array([[[0, 0, 0]]], dtype=uint8), \
array([[[33, 32, 37]]], dtype=uint8))
        """
        byte_order = order_of(image, order)
        pixels = pixels_of(image)
        forms = [form for form in _OUTPUTS.values()
                 if form != _OUTPUTS["nominal"] or self.colours == 6]
        if dither == "none":
            indices = self._indices(pixels, byte_order)
            frames = {form: self._colours(form, byte_order)[indices] for form in forms}
        else:
            mode = _dithering(dither, serpentine, none=6)
            tables = self._tables_for(mode if prepare else _ALL)
            page = _page(pixels, byte_order, tables, prepare, inks)
            frames = _render_forms(tables, page.picture, page.rows, byte_order, mode, forms)
            apart = {} if page.apart is None else _render_forms(
                tables, page.apart, page.rows, byte_order, mode, forms)
            for form, frame in frames.items():
                page.put_together(self._colours(form, byte_order), apart.get(form), frame)
        return Renderings(*(None if frames.get(form) is None else like(image, frames[form])
                            for form in _OUTPUTS.values()))


def _page(pixels: Pixels, byte_order: int, tables: _Tables, wanted: bool, inks: str,
          preroll: bool = True) -> Page:
    if not wanted:
        return Page(pixels, 0)
    return prepared(pixels, byte_order, tables.package, inks, preroll)


def _render_forms(tables: _Tables, picture: Pixels, rows: int, byte_order: int, mode: int,
                  forms: Iterable[int]) -> Dict[int, Pixels]:
    frames = {form: output_like(picture) for form in forms}
    library.oxel_render_all(
        tables.native, picture.ctypes.data, byte_order,
        *(frames[form].ctypes.data if form in frames else None for form in _OUTPUTS.values()),
        *size_of(picture), mode)
    return {form: frame[rows:] for form, frame in frames.items()}


def _restored(packages: Mapping[int, bytes], description: Optional[Tuple[str, Tuple[Any, ...]]],
              name: str, size: Optional[Tuple[int, int]], layout: int) -> Panel:
    panel = Panel(next(iter(packages.values())), name, size, layout)
    panel._tables = {tuning: _Tables(package) for tuning, package in packages.items()}
    panel._description = description
    return panel


@functools.lru_cache(maxsize=None)
def _built_in(name: str) -> Panel:
    return Panel._opened("oxel_panel_built_in", name.encode())
