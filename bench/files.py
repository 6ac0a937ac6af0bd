#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Times writing picture files against oiiotool and prints a Markdown table: files.py PROGRAM PHOTOGRAPH

Both programs read the same uncompressed picture of 8 megapixels and write it in the same format: ours renders it with
settings that leave every pixel as it is, oiiotool copies it. They take turns, and each time is the median of the runs.
"""

import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

RUNS = 7
UNCHANGED = ["--mosaic-intensity", "0", "--max-iterations", "1"]
# Format, depth, options of ours, options of oiiotool, largest share of oiiotool's time.
CASES = [
    ("PNG", ".png", "8", [], [], 0.5),
    ("PNG", ".png", "16", [], [], 0.5),
    ("TIFF", ".tif", "8", [], ["--compression", "zip"], 0.5),
    ("TIFF", ".tif", "16", [], ["--compression", "zip"], 0.5),
    ("JPEG", ".jpg", "8", ["--quality", "95"], ["--quality", "95"], 0.65),
    ("OpenEXR", ".exr", "8", [], ["-d", "half", "--compression", "zip"], 1.0),
    ("OpenEXR", ".exr", "32", ["--compression", "zip"], ["-d", "float", "--compression", "zip"], 1.0),
]
LARGEST_SHARE_OF_BYTES = 1.05
INPUTS = {"8": ("in.ppm", "uint8"), "16": ("in16.ppm", "uint16"), "32": ("in.tif", "float")}


def seconds(command):
    begin = time.perf_counter()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.perf_counter() - begin


def main():
    program, photograph = sys.argv[1:3]
    print("## Writing files against oiiotool (3840 x 2160)\n")
    print(f"Whole programs from an uncompressed file of the photograph, medians of {RUNS} runs taken in turn.\n")
    print("| format | bits | oiiotool ms | quorvel ms | ratio | goal | bytes, ratio | met |")
    print("|" + "---|" * 8)
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        for name, depth in INPUTS.values():
            # Rendered once, so that the values are those of the host.
            drawn = work / "drawn.tif"
            subprocess.run(["oiiotool", photograph, "--ch", "R,G,B", "--resize", "3840x2160", "-d", depth,
                            "--compression", "none", "-o", drawn], check=True)
            subprocess.run([program, "render", drawn, "-o", work / name, "--mosaic-intensity", "0.5"]
                           + (["--compression", "none"] if name.endswith(".tif") else []), check=True)
        for title, ending, depth, ours, theirs, goal in CASES:
            source = work / INPUTS[depth][0]
            our_file, their_file = work / ("ours" + ending), work / ("theirs" + ending)
            render = [program, "render", source, "-o", our_file, *UNCHANGED, *ours]
            copy = ["oiiotool", source, *theirs, "-o", their_file]
            times = [(seconds(render), seconds(copy)) for _ in range(RUNS)]
            our_time, their_time = (statistics.median(column) for column in zip(*times))
            sizes = our_file.stat().st_size / their_file.stat().st_size
            ratio = our_time / their_time
            met = "yes" if ratio <= goal and sizes <= LARGEST_SHARE_OF_BYTES else "no"
            print(f"| {title} | {depth} | {their_time * 1000:.0f} | {our_time * 1000:.0f} | {ratio:.2f} | {goal:.2f} "
                  f"| {sizes:.3f} | {met} |")
    print()


if __name__ == "__main__":
    main()
