#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes Markdown tables of the benchmarks' JSON: tables.py PHOTOGRAPH OTHER FOLDER (called by scripts/bench)."""

import json
import math
import os
import pathlib
import sys

DEPTHS = ["8", "16", "float"]
CONTENTS = ["photograph", "other photograph", "flat", "gradient", "noise"]
SETS = ["avx512", "avx2", "baseline"]
SET_NAMES = {"avx512": "AVX-512", "avx2": "AVX2", "baseline": "baseline"}
# Largest multiples of memcpy for flat and for the worst content, and how much faster than the plain kernel.
GOALS = {
    "avx512": {"8": (1.8, 3, 15), "16": (2, 3, 7), "float": (1.8, 3.5, 6)},
    "avx2": {"8": (2.7, 4.5, None), "16": (3, 4.5, None), "float": (2.7, 5.25, None)},
    "baseline": {"8": (3.5, 8, None), "16": (3.5, 8, None), "float": (2, 5, None)},
}


def medians(folder):
    """Microseconds by name, and the context of the runs."""
    times, context = {}, {}
    for file in sorted(folder.glob("*.json")):
        data = json.loads(file.read_text())
        context.update(data["context"])
        for run in data["benchmarks"]:
            if run["aggregate_name"] == "median":
                times[run["run_name"]] = run["real_time"]
    return times, context


def table(header, rows):
    print("| " + " | ".join(header) + " |")
    print("|" + "---|" * len(header))
    for row in rows:
        print("| " + " | ".join(str(cell) for cell in row) + " |")
    print()


def milliseconds(microseconds):
    return f"{microseconds / 1000:.2f}"


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return "unknown processor"


def frames(times):
    print("## One frame, one thread\n")
    print("Milliseconds of memcpy and of the plain kernel; the fast kernel as multiples of memcpy.\n")
    rows = []
    names = sorted({tuple(name.split("/")[1:5]) for name in times if name.startswith("frame/")},
                   key=lambda n: (n[3], n[1] != "luminosity", n[1], DEPTHS.index(n[0]), CONTENTS.index(n[2])))
    sets = [s for s in SETS if any(name.endswith("/" + s) for name in times)]
    for depth, form, content, size in names:
        base = f"frame/{depth}/{form}/{content}/{size}/"
        copy, plain = times[base + "memcpy"], times[base + "plain"]
        fast = [times[base + s] for s in sets]
        rows.append([size, form, depth, content, milliseconds(copy)]
                    + [f"{t / copy:.2f}" for t in fast] + [milliseconds(plain), f"{plain / fast[0]:.1f}"])
    table(["size", "form", "depth", "content", "memcpy ms"] + [SET_NAMES[s] for s in sets]
          + ["plain ms", "plain / fast"], rows)

    print("## Against the goals\n")
    print("Multiples of memcpy for flat and for the worst content, of the Luminosity form; times faster than the plain "
          "kernel, geometric mean of all contents and forms.\n")
    rows = []
    for s in sets:
        for depth in DEPTHS:
            def multiples(contents):
                return [times[n] / times[n.rsplit("/", 1)[0] + "/memcpy"] for n in times
                        if n.startswith(f"frame/{depth}/luminosity/") and n.endswith("/" + s)
                        and n.split("/")[3] in contents]
            gains = [times[n.rsplit("/", 1)[0] + "/plain"] / times[n] for n in times
                     if n.startswith(f"frame/{depth}/") and n.endswith("/" + s)]
            gain = math.exp(sum(map(math.log, gains)) / len(gains))
            flat, worst = max(multiples(["flat"])), max(multiples(CONTENTS))
            goal = GOALS[s][depth]
            met = flat <= goal[0] and worst <= goal[1] and (goal[2] is None or gain >= goal[2])
            rows.append([SET_NAMES[s], depth, f"{flat:.2f} / {worst:.2f}", f"{goal[0]} / {goal[1]}", f"{gain:.1f}",
                         goal[2] or "", "yes" if met else "no"])
    table(["instruction set", "depth", "flat / worst", "goal", "times the plain kernel", "goal", "met"], rows)


def growth(times):
    print("## Growth (8 bits, Luminosity, photograph, 1080p unless named)\n")
    for kind, unit, values in [("pixels", "size", ["480p", "720p", "1080p", "4K", "8K"]),
                               ("levels", "maximum iterations", ["1", "2", "4", "8", "16", "32"]),
                               ("cells", "grid", ["1 x 1", "4 x 3", "16 x 9", "64 x 36", "192 x 108", "480 x 270",
                                                  "960 x 540"])]:
        table([unit, "ms"], [[value, milliseconds(times[f"growth/{kind}/{value}/fast"])] for value in values])
    rows = []
    for content in CONTENTS:
        base = f"growth/one 8K cell/{content}/"
        rows.append([content, milliseconds(times[base + "16 x 9"]), milliseconds(times[base + "1 x 1"]),
                     f"{times[base + '1 x 1'] / times[base + '16 x 9']:.2f}"])
    table(["7680 x 4320", "16 x 9 cells, ms", "one cell, ms", "ratio"], rows)
    rows = []
    for depth in DEPTHS:
        base = f"intensity/{depth}/"
        rows.append([depth] + [milliseconds(times[base + k]) for k in ("none", "1:1", "stretched")]
                    + [f"{times[base + '1:1'] / times[base + 'none']:.2f}",
                       f"{times[base + 'stretched'] / times[base + 'none']:.2f}"])
    table(["intensity layer, depth", "none, ms", "1:1, ms", "stretched, ms", "1:1 ratio", "stretched ratio"], rows)
    smoothnesses = [0, 1, 4, 16]
    table(["curve table, depth"] + [f"smoothness {s}, ms" for s in smoothnesses],
          [[depth] + [milliseconds(times[f"table/{depth}/{s}"]) for s in smoothnesses] for depth in DEPTHS])


def other_goals(times):
    print("## Other goals\n")
    table_cost = max(times[f"table/{depth}/16"] for depth in DEPTHS) / 1000
    one_cell = max(times[f"growth/one 8K cell/{c}/1 x 1"] / times[f"growth/one 8K cell/{c}/16 x 9"] for c in CONTENTS)
    levels = times["growth/levels/32/fast"] / times["growth/levels/8/fast"]
    layers = {kind: max(times[f"intensity/{depth}/{kind}"] / times[f"intensity/{depth}/none"] for depth in DEPTHS)
              for kind in ("1:1", "stretched")}

    def scaling(kind):
        return [times[f"threads/{depth}/{kind}/real_time/threads:1"]
                / times[f"threads/{depth}/{kind}/real_time/threads:2"] for depth in DEPTHS]
    rows = [
        ["curve table at smoothness 16, slowest depth", f"{table_cost:.2f} ms", "1.5 ms", table_cost <= 1.5],
        ["one 7680 x 4320 cell against 16 x 9, worst content", f"{one_cell:.2f}", "1.5", one_cell <= 1.5],
        ["32 levels against 8", f"{levels:.2f}", "1.3", levels <= 1.3],
        ["intensity layer read 1:1 against none, worst depth", f"{layers['1:1']:.2f}", "2", layers["1:1"] <= 2],
        ["stretched against none, worst depth", f"{layers['stretched']:.2f}", "3", layers["stretched"] <= 3],
    ]
    for depth, frames_scale, copy_scale in zip(DEPTHS, scaling("render"), scaling("memcpy")):
        goal = min(1.8, copy_scale)
        rows.append([f"frames per second of two threads against one, {depth} (memcpy: {copy_scale:.2f})",
                     f"{frames_scale:.2f}", f"{goal:.2f}", frames_scale >= goal])
    table(["", "measured", "goal", "met"], [row[:3] + ["yes" if row[3] else "no"] for row in rows])


def host(times, context):
    print("## Frames per second through the reference host (1080p, photograph)\n")
    rows = []
    for depth in DEPTHS:
        for kind in ("render", "memcpy"):
            # Wall time divided by the frames of all threads.
            rates = [1e6 / times[f"threads/{depth}/{kind}/real_time/threads:{n}"] for n in (1, 2, 4)]
            rows.append([depth, kind] + [f"{rate:.0f}" for rate in rates]
                        + [f"{rates[1] / rates[0]:.2f}", f"{rates[2] / rates[0]:.2f}"])
    table(["depth", "", "1 thread", "2 threads", "4 threads", "2 / 1", "4 / 1"], rows)
    print(f"## One picture from file to file ({context['picture']})\n")
    table(["read, ms", "render, ms", "write (PNG), ms"],
          [[milliseconds(times["picture/" + part]) for part in ("read", "render", "write")]])


def programs(folder):
    print("The whole program, started anew each time, and programs that do something like it:\n")
    rows = []
    for line in (folder / "programs.tsv").read_text().splitlines():
        name, value = line.split("\t")
        rows.append([name, f"{int(value) / 1e6:.0f}" if value.isdigit() else value])
    table(["program", "ms"], rows)


def main():
    photographs, folder = sys.argv[1:3], pathlib.Path(sys.argv[3])
    times, context = medians(folder)
    print("# Benchmark results\n")
    print(f"{processor()}, {os.cpu_count()} processors, {context['instruction set']}; {context['compiler']}; "
          f"photographs: {' and '.join(pathlib.Path(p).name for p in photographs)}. Medians of interleaved runs.\n")
    frames(times)
    growth(times)
    other_goals(times)
    host(times, context)
    programs(folder)


if __name__ == "__main__":
    main()
