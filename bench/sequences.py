#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Times sequences from file to file and prints Markdown tables: sequences.py PROGRAM PHOTOGRAPH [--long]

The first table compares one frame at a time, every library on one thread, with the default of as many frames as there
are processors, and with as many programs side by side, each of them with its share of the frames: what the machine
itself gains. The three take turns. The second has the peak memory of 4K sequences with two frames in work; --long makes
its long sequences 1,000 frames instead of 20.
"""

import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

RUNS = 5
FRAMES = 32
# So many are drawn; the others are links to them.
DRAWN = 16
SETTINGS = ["--mosaic-intensity", "0.5", "--progress", "none"]
# Format, ending, bits a channel.
KINDS = [("PNG", "png", "8"), ("PNG", "png", "16"), ("OpenEXR", "exr", "half"), ("OpenEXR", "exr", "float")]
SMALLEST_GAIN = 1.8
# Bits a channel, ending, largest peak in MiB.
MEMORY = [("8", "png", 1024), ("16", "png", 1024), ("float", "exr", 2048)]
OIIO_DEPTHS = {"8": "uint8", "16": "uint16", "half": "half", "float": "float"}


def run(*commands):
    """Seconds that commands side by side take, and the largest peak memory of one in MiB. All must succeed."""
    begin = time.perf_counter()
    children = [subprocess.Popen(command, stdout=subprocess.DEVNULL) for command in commands]
    ends = [os.wait4(child.pid, 0) for child in children]
    taken = time.perf_counter() - begin
    if any(os.waitstatus_to_exitcode(status) != 0 for _, status, _ in ends):
        sys.exit(f"sequences.py: failed: {commands}")
    return taken, max(usage.ru_maxrss for _, _, usage in ends) / 1024


def draw(photograph, folder, size, depth, ending, frames):
    """The photograph panned to the right, frame by frame."""
    width, height = size
    large = folder / "large.tif"
    subprocess.run(["oiiotool", photograph, "--ch", "R,G,B", "--resize", f"{width + 16 * frames}x{height}",
                    "-o", large], check=True)
    for frame in range(1, frames + 1):
        subprocess.run(["oiiotool", large, "--cut", f"{width}x{height}+{16 * frame}+0", "-d", OIIO_DEPTHS[depth], "-o",
                        folder / f"in.{frame:04d}.{ending}"], check=True)


def link(folder, ending, drawn, frames):
    """The drawn frames again and again under the following numbers."""
    for frame in range(drawn + 1, frames + 1):
        os.link(folder / f"in.{(frame - 1) % drawn + 1:04d}.{ending}", folder / f"in.{frame:04d}.{ending}")


def shares(count):
    """The frames 1 to FRAMES as `count` lists for --frames."""
    edges = [FRAMES * i // count for i in range(count + 1)]
    return [f"{first + 1}-{last}" for first, last in zip(edges, edges[1:])]


def compare_jobs(program, photograph):
    print("## Sequences (1920 x 1080)\n")
    print(f"{FRAMES} frames from file to file, medians of {RUNS} runs taken in turn.\n")
    processors = len(os.sched_getaffinity(0))
    print(f"| format | bits | 1 job, frames/s | default, frames/s | ratio | {processors} programs, ratio | goal | met |")
    print("|" + "---|" * 8)
    for title, ending, depth in KINDS:
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            draw(photograph, folder, (1920, 1080), depth, ending, DRAWN)
            link(folder, ending, DRAWN, FRAMES)
            render = [program, "render", folder / f"in.####.{ending}", "-o", folder / f"out.####.{ending}", *SETTINGS]
            one_job = [*render, "--jobs", "1"]
            parts = [[*one_job, "--frames", share] for share in shares(processors)]
            times = [(run(one_job)[0], run(render)[0], run(*parts)[0]) for _ in range(RUNS)]
            alone, together, apart = (FRAMES / statistics.median(column) for column in zip(*times))
            gain = together / alone
            print(f"| {title} | {depth} | {alone:.1f} | {together:.1f} | {gain:.2f} | {apart / alone:.2f} | {SMALLEST_GAIN} "
                  f"| {'yes' if gain >= SMALLEST_GAIN else 'no'} |", flush=True)
    print()


def compare_memory(program, photograph, long_frames):
    short_frames = 10 if long_frames < 100 else 100
    print("## Peak memory of sequences (3840 x 2160, two jobs)\n")
    print(f"| bits | {short_frames} frames, MiB | {long_frames} frames, MiB | limit | met |")
    print("|" + "---|" * 5)
    for depth, ending, limit in MEMORY:
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            draw(photograph, folder, (3840, 2160), depth, ending, 1)
            link(folder, ending, 1, long_frames)
            render = [program, "render", folder / f"in.####.{ending}", "-o", folder / f"out.####.{ending}",
                      "--jobs", "2", *SETTINGS]
            peaks = []
            for frames in (short_frames, long_frames):
                peaks.append(run([*render, "--frames", f"1-{frames}"])[1])
                for written in folder.glob("out.*"):
                    written.unlink()
            met = max(peaks) <= limit and peaks[1] <= peaks[0] * 1.05
            print(f"| {depth} | {peaks[0]:.0f} | {peaks[1]:.0f} | {limit} | {'yes' if met else 'no'} |", flush=True)
    print()


def main():
    program, photograph = sys.argv[1:3]
    compare_jobs(program, photograph)
    compare_memory(program, photograph, 1000 if "--long" in sys.argv[3:] else 20)


if __name__ == "__main__":
    main()
