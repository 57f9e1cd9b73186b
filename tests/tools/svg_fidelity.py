#!/usr/bin/env python3
"""The SVG reader against a renderer nobody here wrote: each drawing of a
folder is rendered by rsvg-convert, and plotted through the SVG virtual
plotter at true size on a paper of its own page size, then rendered alike.
Fills are plotted as outlines here (--fill outline; hatching has a measure
of its own), so the reference is the outline of rsvg's ink:
its ink pixels next to a pixel without ink. Recall is the share of that
outline within TOLERANCE user units of the plot's ink, precision the share
of the plot's ink within TOLERANCE of the outline; both must reach 0.9.

The drawings are 100 by 100 pixels on a viewBox of 100 units, rendered at
twice their size; a drawing without a size is rendered at rsvg's own size
for it, the bounds of its ink. A
file's name up to its first '_' names the feature it shows; the figures are
printed per feature, and the test fails when any drawing falls short.

usage: svg_fidelity.py KONIB RSVG CASES OUT"""
import os
import re
import struct
import subprocess
import sys
import zlib

TOLERANCE = 3  # user units
LIMIT = 0.9


def read_png(path):
    """Ink of an 8-bit picture: a pixel laid on white paper that is not
    nearly white."""
    data = open(path, "rb").read()
    at, chunks, head = 8, [], None
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        if kind == b"IHDR":
            head = struct.unpack(">IIBBBBB", data[at + 8:at + 8 + length])
        elif kind == b"IDAT":
            chunks.append(data[at + 8:at + 8 + length])
        at += 12 + length
    width, height, depth, colour, _, _, interlace = head
    n = {6: 4, 2: 3, 0: 1, 4: 2}[colour]
    assert depth == 8 and interlace == 0, path
    raw = zlib.decompress(b"".join(chunks))
    stride = width * n
    previous = bytes(stride)
    ink = set()
    for y in range(height):
        kind = raw[y * (stride + 1)]
        line = bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        if kind == 1:
            for i in range(n, stride):
                line[i] = (line[i] + line[i - n]) & 255
        elif kind == 2:
            line = bytearray((a + b) & 255 for a, b in zip(line, previous))
        elif kind == 3:
            for i in range(stride):
                line[i] = (line[i] + ((line[i - n] if i >= n else 0) + previous[i]) // 2) & 255
        elif kind == 4:
            for i in range(stride):
                a = line[i - n] if i >= n else 0
                b, c = previous[i], previous[i - n] if i >= n else 0
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        previous = bytes(line)
        for x in range(width):
            px = line[x * n:(x + 1) * n]
            alpha = px[-1] if n in (2, 4) else 255
            darkest = min(px[:3] if n >= 3 else px[:1])
            if (darkest * alpha + 255 * (255 - alpha)) // 255 < 200:
                ink.add((x, y))
    return width, height, ink


def outline(ink):
    return {(x, y) for (x, y) in ink
            if any((x + dx, y + dy) not in ink for dx, dy in ((1, 0), (-1, 0), (0, 1), (0, -1)))}


def within(points, near, radius):
    """The points with a point of `near` within `radius` pixels."""
    offsets = [(dx, dy) for dx in range(-radius, radius + 1) for dy in range(-radius, radius + 1)
               if dx * dx + dy * dy <= radius * radius]
    grown = set()
    for (x, y) in near:
        for dx, dy in offsets:
            grown.add((x + dx, y + dy))
    return sum(1 for p in points if p in grown)


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(command)}: {done.stderr.strip()}")


def main():
    konib, rsvg, cases, out = sys.argv[1:5]
    os.makedirs(out, exist_ok=True)
    features, failures = {}, []
    for name in sorted(os.listdir(cases)):
        if not name.endswith(".svg"):
            continue
        case, base = os.path.join(cases, name), os.path.join(out, name[:-4])
        feature = name[:-4].split("_")[0]
        try:
            # The natural size first: a drawing without one takes its ink's,
            # and is rendered at that size (rsvg places it wrongly when scaled).
            root = re.search(r"<svg\b[^>]*>", open(case).read())
            zoom = 2 if root and re.search(r"\swidth=", root.group(0)) else 1
            run(rsvg, case, "-o", base + ".png")
            width, height, _ = read_png(base + ".png")
            width, height = zoom * width, zoom * height
            size = ["-w", str(width), "-h", str(height)] if zoom > 1 else []
            run(rsvg, *size, "-b", "white", case, "-o", base + ".png")
            _, _, reference = read_png(base + ".png")
            mm = lambda px: px / zoom * 25.4 / 96
            run(konib, "plot", case, "--model", "svg", "--scale", "1", "--fill", "outline",
                "--paper", f"{mm(width):.4f}x{mm(height):.4f}", "-o", base + ".plotted.svg")
            run(rsvg, "-w", str(width), "-h", str(height), "-b", "white",
                base + ".plotted.svg", "-o", base + ".plotted.png")
            _, _, plotted = read_png(base + ".plotted.png")
            edge = outline(reference)
            radius = TOLERANCE * zoom
            recall = within(edge, plotted, radius) / len(edge) if edge else 0
            precision = within(plotted, edge, radius) / len(plotted) if plotted else 0
        except RuntimeError as e:
            recall = precision = 0
            print(f"{name}: {e}")
        good = recall >= LIMIT and precision >= LIMIT
        print(f"{name}: recall {recall:.3f}, precision {precision:.3f}{'' if good else '  FAILS'}")
        passed, total = features.get(feature, (0, 0))
        features[feature] = (passed + good, total + 1)
        if not good:
            failures.append(name)
    print("per feature: " + ", ".join(f"{f} {p}/{t}" for f, (p, t) in sorted(features.items())))
    passed = sum(p for p, _ in features.values())
    total = sum(t for _, t in features.values())
    print(f"{passed} passed, {total - passed} failed")
    sys.exit(1 if failures or total == 0 else 0)


main()
