"""Times `oxel render` of a folder beside vipsthumbnail, in turns: batch.py OXEL FOLDER ROUNDS, for
bench/batch.sh. FOLDER holds a folder `photos`. Prints tables in Markdown."""

import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import time

JOBS = ((800, 480, False), (1600, 1200, False), (1600, 1200, True))


def run(command, processors):
    """Seconds of processors, seconds by the clock, and megabytes of the largest process, all with the
    processes that the command starts itself, on so many processors."""
    allowed = sorted(os.sched_getaffinity(0))[:processors]
    start = time.monotonic()
    child = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                             env={**os.environ, "VIPS_CONCURRENCY": "1"},
                             preexec_fn=lambda: os.sched_setaffinity(0, allowed))
    _, status, usage = os.wait4(child.pid, 0)
    if status != 0:
        sys.exit(f"{command[0]} failed")
    return usage.ru_utime + usage.ru_stime, time.monotonic() - start, usage.ru_maxrss * 1024 / 1e6


def main(oxel, folder, rounds):
    photos = folder / "photos"
    names = sorted(map(str, photos.iterdir()))
    print(f"Seconds of processor time, medians of {rounds} rounds in turns; the peak is the largest "
          "process' with -j 1.\nvipsthumbnail shrinks on load, crops and writes PPM. It and -j 1 have one "
          "processor, -j 2 has two.\n")
    print("| To | vipsthumbnail | oxel -j 1 | ratio | oxel -j 2 | sooner by the clock | peak, MB |\n"
          "|---|---|---|---|---|---|---|")
    for width, height, preview in JOBS:
        size, out = f"{width}x{height}", folder / "out"
        other = ["vipsthumbnail", *names, "--size", size, "--smartcrop", "centre", "-o", f"{out}/%s.ppm"]

        def own(workers):
            return [oxel, "render", str(photos), "-o", f"{out}/frames", "--panel", "six-colour", "--size",
                    size, "-j", str(workers), *(["--preview", f"{out}/previews"] if preview else [])]

        times = []
        for _ in range(rounds):
            row = []
            for command, processors in (other, 1), (own(1), 1), (own(2), 2):
                shutil.rmtree(out, ignore_errors=True)
                out.mkdir()
                row.append(run(command, processors))
            times.append(row)
        median = lambda figure: statistics.median(map(figure, times))
        print(f"| {size}{', with previews' if preview else ''} | {median(lambda r: r[0][0]):.2f} "
              f"| {median(lambda r: r[1][0]):.2f} | {median(lambda r: r[1][0] / r[0][0]):.2f} "
              f"| {median(lambda r: r[2][0]):.2f} | {median(lambda r: r[1][1] / r[2][1]):.2f} "
              f"| {median(lambda r: r[1][2]):.0f} |", flush=True)


if __name__ == "__main__":
    main(sys.argv[1], pathlib.Path(sys.argv[2]), int(sys.argv[3]))
