"""Renders a picture for the built-in panel: frame.bin for its controller, preview.png to look at."""
import numpy as np
import oxel
from PIL import Image, ImageOps

panel = oxel.Panel.builtin("six-colour")
photo = ImageOps.exif_transpose(Image.open("docs/pictures/gallery-original.png"))
rendered = panel.render_all(ImageOps.fit(photo.convert("RGB"), panel.size or photo.size))
np.asarray(oxel.transfer(rendered.tcon, panel.layout))[..., 0].tofile("frame.bin")
rendered.eo.save("preview.png")
