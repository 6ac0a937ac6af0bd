#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Times videos from file to file against ffmpeg and prints a Markdown table: videos.py PROGRAM PHOTOGRAPH

The clip is the photograph, panned and with grain, in H.264. ffmpeg decodes and encodes it without a filter; ours renders
the effect between the two, with the same encoder at the same settings. They take turns.
"""

import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

RUNS = 5
RATE = 25
FRAMES = 125
SIZE = (1920, 1080)
SETTINGS = ["--mosaic-intensity", "0.5", "--progress", "none"]
ENCODER = ["-c:v", "libx264", "-preset", "medium", "-crf", "23"]
FFMPEG = ["ffmpeg", "-hide_banner", "-loglevel", "error", "-y"]
# Title, ending, what ffmpeg is told, what ours is told, largest share of ffmpeg's time.
CASES = [
    ("H.264", "mp4", [*ENCODER, "-c:a", "copy"], ["--codec", "h264"], 1.15),
    ("FFV1, RGB", "mkv", ["-c:v", "ffv1", "-level", "3", "-g", "1", "-slicecrc", "1", "-pix_fmt", "bgr0", "-c:a", "copy"],
     ["--codec", "ffv1"], 1.1),
]


def seconds(command):
    begin = time.perf_counter()
    subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
    return time.perf_counter() - begin


def draw(photograph, clip):
    width, height = SIZE
    large = clip.with_suffix(".png")
    subprocess.run(["oiiotool", photograph, "--ch", "R,G,B", "--resize", f"{width + 4 * FRAMES}x{height}", "-d", "uint8",
                    "-o", large], check=True)
    subprocess.run([*FFMPEG, "-loop", "1", "-framerate", str(RATE), "-i", large,
                    "-f", "lavfi", "-i", "sine=frequency=220:sample_rate=48000",
                    "-vf", f"crop={width}:{height}:4*n:0,noise=alls=6:allf=t:all_seed=1,format=yuv420p",
                    "-frames:v", str(FRAMES), "-t", str(FRAMES / RATE), *ENCODER, "-c:a", "aac",
                    "-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc", "bt709", clip], check=True)


def main():
    program, photograph = sys.argv[1:3]
    print(f"## Videos against ffmpeg without a filter ({SIZE[0]} x {SIZE[1]}, H.264 in)\n")
    print(f"{FRAMES} frames from file to file, medians of {RUNS} runs taken in turn.\n")
    print("| into | ffmpeg s | quorvel s | ratio | goal | bytes, ratio | met |")
    print("|" + "---|" * 7)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        clip = folder / "clip.mp4"
        draw(photograph, clip)
        for title, ending, theirs, ours, goal in CASES:
            our_file, their_file = folder / f"ours.{ending}", folder / f"theirs.{ending}"
            copy = [*FFMPEG, "-i", clip, *theirs, their_file]
            render = [program, "render", clip, "-o", our_file, *ours, *SETTINGS]
            times = [(seconds(render), seconds(copy)) for _ in range(RUNS)]
            our_time, their_time = (statistics.median(column) for column in zip(*times))
            sizes = our_file.stat().st_size / their_file.stat().st_size
            ratio = our_time / their_time
            print(f"| {title} | {their_time:.2f} | {our_time:.2f} | {ratio:.2f} | {goal} | {sizes:.2f} "
                  f"| {'yes' if ratio <= goal else 'no'} |", flush=True)
    print()


if __name__ == "__main__":
    main()
