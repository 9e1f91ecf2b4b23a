#!/usr/bin/python3
"""Plants the faults of records/mutations.txt one by one in a copy of the sources, and tells which
ones their tests catch:  mutation.py [--quick] [WORD ...]

--quick plants those that are marked with a star, WORDs those whose line has one of them. Fails if
one is not caught, does not compile, or is not found in just one place. With ccache as CMake's compiler
launcher and CCACHE_BASEDIR=build/mutation it compiles once what the copies share, and what it restores.
"""

import concurrent.futures
import filecmp
import os
import pathlib
import queue
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build/mutation"
LIMIT = 300  # seconds of processor time for a test, as a fault may be an endless loop


def faults(words):
    """Of each fault: whether it is quick, CMake targets, a pattern of tests, old and new text."""
    targets = None
    for line in (ROOT / "tests/records/mutations.txt").read_text().splitlines():
        if heading := re.fullmatch(r"\[(.*)\]", line):
            targets = heading[1].split()
        elif line and line[0] != "#":
            tests, old, new = re.split(r" +¦ ?", line)
            quick = tests.startswith("*")
            if quick if words == ["--quick"] else not words or any(w in line for w in words):
                yield targets, tests.lstrip("*"), old, new.replace("\\n", "\n")


def run(folder, *command, **options):
    return subprocess.run(command, cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, **options)


def build(tree, targets, jobs=1):
    return run(tree, "cmake", "--build", "build", "--parallel", str(jobs), "--target", *targets)


def passes(tree, tests, jobs=1):
    done = run(tree, "prlimit", f"--cpu={LIMIT}:", "ctest", "--test-dir", "build",
               "--no-tests=error", "--stop-on-failure", "--parallel", str(jobs), "-R", f"^({tests})")
    if "Not Run" in done.stdout or "No tests" in done.stdout:
        sys.exit(f"{tests}: did not run\n{done.stdout}")
    return done.returncode == 0


def prepare(tree, chosen):
    """A copy of the sources, built, and in the first one with all tests in question passing."""
    names = run(ROOT, "git", "ls-files", "-co", "--exclude-standard").stdout.splitlines()
    for old in tree.rglob("*"):
        if old.is_file() and (name := str(old.relative_to(tree))) not in names and name[:6] != "build/":
            old.unlink()
    for name in names: # one that differs gets the present time, so that it is compiled again
        if (ROOT / name).is_file() and not ((tree / name).is_file() and filecmp.cmp(
                ROOT / name, tree / name, shallow=False)):
            (tree / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / name, tree / name)
    run(tree, "cmake", "-S", ".", "-B", "build", "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
        "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1", "-DOXEL_BUILD_TESTS=ON", "-DOXEL_HARDENING=OFF",
        "-DOXEL_BUILD_TOOLS=ON", "-DOXEL_BUILD_PYTHON=ON", check=True)
    for targets, tests, *_ in chosen:
        if (done := build(tree, targets, os.cpu_count())).returncode or (
                tree.name == "0" and not passes(tree, tests, os.cpu_count())):
            sys.exit(f"without any fault, {tests} does not pass\n{done.stdout}")


def outcome(tree, targets, tests, old, new):
    places = [path for folder in ("src", "tools", "python") for path in (tree / folder).rglob("*.*")
              if path.suffix in (".h", ".cpp", ".py") and old in path.read_text()]
    if len(places) != 1 or (text := places[0].read_text()).count(old) != 1:
        return f"found in {len(places)} files, not once", "?"
    if places[0].name == "avx512.cpp" and "avx512_vbmi" not in pathlib.Path("/proc/cpuinfo").read_text():
        return "runs with AVX-512 only", str(places[0].relative_to(tree))
    places[0].write_text(text.replace(old, new))
    try:
        if build(tree, targets).returncode:
            result = "does not compile"
        else:
            result = "survived" if passes(tree, tests) else "caught"
    finally:
        places[0].write_text(text)
    return result, str(places[0].relative_to(tree))


def main(words):
    chosen = list(faults(words))
    workers = min(os.cpu_count(), len(chosen)) or sys.exit("no such fault")
    trees = queue.Queue()

    def work(fault):
        tree = trees.get()
        result, path = outcome(tree, *fault)
        trees.put(tree)
        print(f"{result}: {path}: {fault[2]}  ->  {fault[3]!r}", flush=True)
        return result == "caught"

    with concurrent.futures.ThreadPoolExecutor(workers) as pool:
        folders = [BUILD / str(i) for i in range(workers)]
        unique = list({(tuple(t), tests): (t, tests) for t, tests, *_ in chosen}.values())
        for folder in folders:
            prepare(folder, unique)
            trees.put(folder)
        caught = sum(pool.map(work, chosen))
    print(f"{caught} of {len(chosen)} caught")
    return caught != len(chosen)


sys.exit(main(sys.argv[1:]))
