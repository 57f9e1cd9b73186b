#!/usr/bin/env python3
"""Stroke letters against a browser's placement: each case, an SVG page with
one text, is plotted through the SVG virtual plotter with --text strokes and
rasterised by rsvg-convert, and so is the page itself. The ink of each word
(columns of ink parted by a gap of at least a third of an em, or the case's
own gap) gives a box; the boxes of the two pictures must agree in start,
end, baseline and top within the tolerances below, in ems of 10 mm. The letters' shapes differ (a Hershey
font against the browser's sans-serif), so their advances do too: the
tolerance of start and end grows with the word's place on the line.

usage: letter_boxes.py KONIB RSVG OUTDIR"""
import os
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from compare_raster import read_png  # noqa: E402

PX_PER_MM = 10
EM = 10  # mm: every case letters at font-size 10 on a page of millimetres
# Tolerances in ems: baseline and capitals' top within 0.06 em (the
# capitals are 0.7 em here, 0.73 em in the browser's font); start and end
# within 0.1 em and 0.05 em for each character from the line's start, the
# difference of the two fonts' advances.
EDGE = 0.1
HEIGHT = 0.06
PER_CHARACTER = 0.05
CASES = [
    ("start", '<text x="10" y="25">HEXAGON 42</text>'),
    ("middle", '<text x="60" y="25" text-anchor="middle">HEXAGON 42</text>'),
    ("end", '<text x="110" y="25" text-anchor="end">HEXAGON 42</text>'),
    ("tspans", '<text x="5" y="20">LIFT<tspan x="45" y="32">MOVE</tspan>'
               '<tspan dx="8">DOWN</tspan></text>'),
    ("anchored-tspan", '<text x="60" y="25" text-anchor="middle">HIT<tspan dx="9">'
                       'ZONE</tspan></text>'),
    ("size", '<text x="10" y="30" font-size="1.6em">BIG<tspan font-size="8pt" '
             'dx="6">SMALL</tspan></text>', 5),
    ("spacing", '<text x="10" y="25" letter-spacing="2">SPACED</text>'),
    # Kana and kanji against a Japanese font's full-width boxes.
    ("japanese", '<text x="10" y="25">\u6771\u4eac<tspan dx="6">TOKYO</tspan>'
                 '<tspan dx="6">\u3072\u3068\u3064</tspan></text>', 4.5),
]


def words(path, gap_mm):
    width, height, ink = read_png(path)
    columns = [any(ink[y][x] for y in range(height)) for x in range(width)]
    gap = gap_mm * PX_PER_MM
    boxes, start, last = [], None, None
    for x, on in enumerate(columns + [False]):
        if on:
            if start is None or x - last > gap:
                if start is not None:
                    boxes.append((start, last))
                start = x
            last = x
    if start is not None:
        boxes.append((start, last))
    out = []
    for left, right in boxes:
        rows = [y for y in range(height) if any(ink[y][left:right + 1])]
        out.append((left, right, rows[0], rows[-1]))
    return out


def run(*command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)


def main():
    konib, rsvg, out = sys.argv[1:4]
    os.makedirs(out, exist_ok=True)
    failed = 0
    em_px = EM * PX_PER_MM
    for name, body, *gap in CASES:
        page = os.path.join(out, name + ".svg")
        with open(page, "w", encoding="utf-8") as f:
            f.write('<svg xmlns="http://www.w3.org/2000/svg" width="120mm" height="40mm" '
                    'viewBox="0 0 120 40" font-size="10" font-family="sans-serif">'
                    + body + "</svg>")
        plotted = os.path.join(out, name + ".plotted.svg")
        run(konib, "plot", page, "--model", "svg", "--text", "strokes", "--paper", "120x40",
            "--pen-map", "black=1", "-o", plotted)
        width = str(120 * PX_PER_MM)
        run(rsvg, "-w", width, "-b", "white", page, "-o", page + ".png")
        run(rsvg, "-w", width, "-b", "white", plotted, "-o", plotted + ".png")
        want, got = (words(p, gap[0] if gap else EM / 3)
                     for p in (page + ".png", plotted + ".png"))
        if len(want) != len(got):
            print(f"{name}: {len(want)} words in the browser's picture, {len(got)} plotted")
            failed += 1
            continue
        characters = 0
        for i, (w, g) in enumerate(zip(want, got)):
            characters += max(1, round((w[1] - w[0]) / (0.6 * em_px)))
            edge = EDGE + PER_CHARACTER * characters
            figures = [(g[k] - w[k]) / em_px for k in range(4)]
            limits = [edge, edge, HEIGHT, HEIGHT]
            bad = any(abs(f) > lim for f, lim in zip(figures, limits))
            print(f"{name} word {i + 1}: start {figures[0]:+.3f} end {figures[1]:+.3f} "
                  f"top {figures[2]:+.3f} baseline {figures[3]:+.3f} em "
                  f"(limits {edge:.2f}, {HEIGHT:.2f}){' FAIL' if bad else ''}")
            failed += bad
    print(f"letter boxes: {len(CASES)} cases, {failed} words beyond the limits")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
