"""The library's C interface through ctypes, which releases the interpreter lock during calls.

An exception may come between any two instructions of Python: after Ctrl-C, say. So no instruction
takes a lock or counts anything that the next one would have to give back: adopting a panel and
rendering with it are one call of C.
"""

import ctypes
import os
from ctypes import (POINTER, Structure, c_bool, c_char_p, c_double, c_int32, c_size_t, c_uint32,
                    c_uint64, c_void_p)
from typing import Dict, Type


class OxelError(Exception):
    """What the library could not do."""


class BadPackageLength(OxelError, ValueError):
    """Not a LUT package: its length is not the one that it states."""


class BadPackageCRC(OxelError, ValueError):
    """Not a LUT package, or a damaged one: its CRC-32 does not match."""


class UnusableTables(OxelError, ValueError):
    """Unusable LUT package: a table is missing or incomplete."""


class NotInitialised(OxelError, RuntimeError):
    """No package has been adopted."""


class OutOfMemory(OxelError, MemoryError):
    """Out of memory."""


class BadSelector(OxelError, ValueError):
    """A byte order, dithering mode, output or layout is none of its values."""


class NotSixColours(OxelError, ValueError):
    """Nominal colours exist only for panels of six colours."""


class BadArgument(OxelError, ValueError):
    """The size of the image is not supported."""


class PanelError(OxelError, ValueError):
    """A panel or its description is wrong; the message names the place and the reason."""


class FrameError(OxelError, ValueError):
    """A frame does not fit its format, or a file is none in that format."""


_errors: Dict[int, Type[OxelError]] = {
    3: BadPackageLength,
    4: BadPackageCRC,
    5: UnusableTables,
    6: NotInitialised,
    12: OutOfMemory,
    13: BadSelector,
    14: NotSixColours,
    15: BadArgument,
}


def _check(status: int, _function: object, _arguments: object) -> None:
    if status != 0:
        error = _errors.get(status, OxelError)
        raise error(f"{str(error.__doc__).rstrip('.')} (status {status})")


class NativePackage(Structure):
    """A LUT package and the number of the panel that it belongs to."""

    _fields_ = [("panel", c_uint64), ("bytes", c_char_p), ("size", c_size_t)]


class NativeFrame(Structure):
    """A frame's file, or a frame out of one."""

    _fields_ = [("error", c_char_p), ("bytes", c_void_p), ("size", c_size_t), ("width", c_int32),
                ("height", c_int32)]


class NativeCodes(Structure):
    """The codes of a panel and their colours."""

    _fields_ = [("codes", c_void_p), ("colours", c_void_p), ("count", c_size_t)]


class NativePanel(Structure):
    """A panel as the builder delivers it."""

    _fields_ = [
        ("error", c_char_p),
        ("name", c_char_p),
        ("package", c_void_p),
        ("package_size", c_size_t),
        ("width", c_int32),
        ("height", c_int32),
        ("layout", c_int32),
        ("described", c_bool),
    ]


# A copy of the library that nothing else in the process uses.
library = ctypes.CDLL(os.path.join(os.path.dirname(os.path.abspath(__file__)), "liboxel.so"))


def _declare(name: str, *arguments: type) -> None:
    function = getattr(library, name)
    function.argtypes = arguments
    function.restype = c_int32
    function.errcheck = _check


_declare("oxel_check", POINTER(NativePackage))
_declare("oxel_render", POINTER(NativePackage), c_void_p, c_void_p, c_uint32, c_int32, c_int32,
         c_uint32, c_int32)
_declare("oxel_render_all", POINTER(NativePackage), c_void_p, c_uint32, c_void_p, c_void_p,
         c_void_p, c_int32, c_int32, c_uint32)
_declare("oxel_render_guarded", POINTER(NativePackage), c_void_p, c_void_p, c_uint32, c_int32,
         c_int32, c_uint32, c_int32, c_double, POINTER(c_int32))
_declare("oxel_prepare", c_char_p, c_size_t, c_void_p, c_uint32, c_int32, c_int32, c_int32, c_int32,
         c_void_p, c_void_p, c_void_p, POINTER(c_int32))
_declare("oxel_look_up", c_char_p, c_size_t, c_void_p, c_size_t, c_void_p)
_declare("oxel_develop", c_void_p, c_uint32, c_int32, c_int32, POINTER(c_int32), c_void_p)
_declare("Oxel_image_adjustment", c_void_p, c_uint32, c_void_p, c_uint32, c_int32, c_int32,
         c_int32, c_int32, c_int32, c_int32, c_double)
_declare("Oxel_TFT_format_transfer", c_void_p, POINTER(c_int32), POINTER(c_int32), c_int32)
library.oxel_preroll_rows.argtypes = [c_int32, c_int32]
library.oxel_put_together.argtypes = [c_void_p, c_size_t, c_void_p, c_void_p, c_void_p]
library.oxel_put_together.restype = None
library.Oxel_get_updateLog.restype = c_char_p
library.oxel_panel_from_bytes.argtypes = [c_char_p, c_char_p, c_size_t, c_int32]
library.oxel_panel_from_bytes.restype = POINTER(NativePanel)
library.oxel_panel_built_in.argtypes = [c_char_p, c_int32]
library.oxel_panel_built_in.restype = POINTER(NativePanel)
library.oxel_panel_built_in_name.argtypes = [c_size_t]
library.oxel_panel_built_in_name.restype = c_char_p
library.oxel_panel_free.argtypes = [POINTER(NativePanel)]
library.oxel_panel_free.restype = None
library.oxel_frame_format.argtypes = [c_size_t]
library.oxel_frame_format.restype = c_char_p
library.oxel_frame_encode.argtypes = [c_int32, c_bool, c_char_p, c_int32, c_int32, c_void_p,
                                      POINTER(NativeCodes)]
library.oxel_frame_encode.restype = POINTER(NativeFrame)
library.oxel_frame_decode.argtypes = [c_int32, c_bool, c_int32, c_int32, c_char_p, c_size_t,
                                      POINTER(NativeCodes)]
library.oxel_frame_decode.restype = POINTER(NativeFrame)
library.oxel_frame_free.argtypes = [POINTER(NativeFrame)]
library.oxel_frame_free.restype = None
