"""Times the library's render and the same reduction by general tools, in turns.

    other_tools.py PANEL.json FOLDER LIBRARY

FOLDER holds picture.ppm and panel.lut. Every figure is processor time. The library and Pillow are
called in this process. The other tools are commands: each runs with and without the operation, in
turns, and the median of the differences counts, so that neither start nor reading does.
"""

import ctypes
import json
import os
import statistics
import subprocess
import sys
import time

from PIL import Image

ROUNDS = 11
FRAMES = 5  # of ffmpeg, which starts slowly


def library_call(path, package_path, picture):
    library = ctypes.CDLL(path)
    with open(package_path, "rb") as file:
        package = file.read()
    package = ctypes.create_string_buffer(package, len(package))
    if library.Oxel_Morvel6_render_init(package, ctypes.c_uint32(len(package))) != 0:
        sys.exit(f"{package_path}: not a package")
    data = picture.tobytes()
    pixels = ctypes.create_string_buffer(data, len(data))
    output = ctypes.create_string_buffer(len(data))
    plain_floyd, tcon_code, rgb = 0, 1, 0

    def render():
        status = library.Oxel_Morvel6_render(
            pixels, rgb, output, rgb, picture.width, picture.height, plain_floyd, tcon_code)
        assert package and status == 0
    return render


def seconds_of_call(call):
    start = time.thread_time()
    call()
    return time.thread_time() - start


def seconds_of_command(command):
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{command[0]} failed")
    return usage.ru_utime + usage.ru_stime


def commands(folder):
    """With and without the operation, and how often it is done."""
    picture, palette = f"{folder}/picture.ppm", f"{folder}/palette.ppm"
    magick = ["convert-im6.q16", "-limit", "thread", "1", picture]
    graphics = ["gm", "convert", "-limit", "threads", "1", picture]
    ffmpeg = ["ffmpeg", "-v", "error", "-filter_complex_threads", "1", "-threads", "1",
              "-i", picture, "-i", f"{folder}/palette16.png", "-filter_complex"]
    frames = f"[0:v]format=bgra,loop={FRAMES - 1}:1"
    palette_use = "[frames];[frames][1:v]paletteuse=dither=floyd_steinberg"
    null = ["-f", "null", "-"]
    return {
        "ImageMagick -remap":
            (magick + ["-dither", "FloydSteinberg", "-remap", palette, "null:"],
             magick + ["null:"], 1),
        "GraphicsMagick -map":
            (graphics + ["-dither", "-map", palette, "null:"], graphics + ["null:"], 1),
        "ffmpeg paletteuse":
            (ffmpeg + [frames + palette_use] + null, ffmpeg + [frames] + null, FRAMES),
    }


def write_palettes(panel_path, folder):
    with open(panel_path, encoding="utf-8") as file:
        colours = [tuple(colour["rgb"]) for colour in json.load(file)["colours"]]
    image = Image.new("RGB", (len(colours), 1))
    image.putdata(colours)
    image.save(f"{folder}/palette.ppm")
    full = Image.new("RGB", (16, 16))
    full.putdata([colours[i % len(colours)] for i in range(256)])
    full.save(f"{folder}/palette16.png")
    palette = Image.new("P", (1, 1))
    palette.putpalette([channel for colour in colours for channel in colour])
    return palette


def main():
    panel_path, folder, library_path = sys.argv[1:]
    os.environ["OMP_NUM_THREADS"] = "1"
    palette = write_palettes(panel_path, folder)
    picture = Image.open(f"{folder}/picture.ppm")
    picture.load()
    calls = {
        "this library, codes written": library_call(library_path, f"{folder}/panel.lut", picture),
        "Pillow quantize": lambda: picture.quantize(
            palette=palette, dither=Image.Dither.FLOYDSTEINBERG),
    }
    tools = commands(folder)
    seconds = {name: [] for name in [*calls, *tools]}
    for round_number in range(ROUNDS + 1):
        for name, call in calls.items():
            seconds[name].append(seconds_of_call(call))
        for name, (with_it, without_it, times) in tools.items():
            spent = seconds_of_command(with_it) - seconds_of_command(without_it)
            seconds[name].append(spent / times)
        if round_number == 0:
            for rounds in seconds.values():
                rounds.clear()

    megapixels = picture.width * picture.height / 1e6
    medians = {name: statistics.median(rounds) for name, rounds in seconds.items()}
    fastest = min(medians.values())
    print(f"| {'':52} | {'ms':>9} | Mpixel/s | times as long |\n|---|---|---|---|")
    for name, median in medians.items():
        print(f"| {name:52} | {median * 1e3:9.1f} | {megapixels / median:8.1f} | {median / fastest:13.1f} |")


main()
