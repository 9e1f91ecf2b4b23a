"""What the suites of the oxel command share: each test has a folder of its own as the current one,
with a photograph and a package of four inks."""

import os
import pathlib
import subprocess
import tempfile
import unittest

import numpy as np
import oxel
from PIL import Image

COMMAND = os.environ["OXEL_COMMAND"]
INKS = [(20, 20, 20), (230, 230, 230), (200, 30, 30), (30, 60, 180)]
PANEL = oxel.Panel(oxel.build_package({"name": "four", "colours": [
    {"name": str(i), "rgb": rgb, "tcon": 3 - i} for i, rgb in enumerate(INKS)]}))
KERNELS = ("floyd", "jjn", "stucki")
PHOTO = np.random.default_rng(3).integers(0, 256, (16, 24, 3), np.uint8)


def colours_of(path):
    """The colours of a PNG, with a palette or without one."""
    return np.asarray(Image.open(path).convert("RGB"))


class CommandCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        pathlib.Path("panel.lut").write_bytes(PANEL.package)
        Image.fromarray(PHOTO).save("photo.png")

    def oxel(self, *arguments, code=0, stdin=b"", options=None, **environment):
        """The standard output, or the standard error if the command is to fail with `code`;
        `options` are subprocess.run's."""
        done = subprocess.run([COMMAND, *" ".join(arguments).split()], capture_output=True,
                              input=stdin, env={**os.environ, "HOME": "/none", **environment},
                              **options or {})
        self.errors = done.stderr.decode()
        self.assertEqual(done.returncode, code, (arguments, self.errors))
        return done.stdout.decode() if code == 0 else self.errors

    def refused(self, arguments, message, **options):
        """One line that begins with `message`, a regular expression, and no new file."""
        before = set(pathlib.Path().rglob("*"))
        self.assertRegex(self.oxel(arguments, code=1, options=options),
                         rf"\Aoxel: {message}[^\n]*\n\Z")
        self.assertEqual(set(pathlib.Path().rglob("*")), before)

    def frame(self, arguments, **environment):
        self.oxel("render photo.png -o frame --panel panel.lut", arguments, **environment)
        return np.fromfile("frame", np.uint8)
