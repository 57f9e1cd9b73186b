#!/usr/bin/env python3
"""Measures how a plotted drawing fills what its reference fills. Both
pictures are of the same page at the same size, rasterised by rsvg-convert;
a pixel is ink as compare_raster.py judges it (darker than mid grey on white).

  covered: the share of the reference's ink pixels that are ink in the plot;
  outside: the share of the plot's ink pixels farther than half a pen width
           from every ink pixel of the reference.

usage: fill_raster.py REFERENCE.png PLOTTED.png PIXELS_PER_MM PEN_WIDTH_MM MIN_COVERED MAX_OUTSIDE
Prints both figures in per cent and exits 1 when covered is below
MIN_COVERED or outside above MAX_OUTSIDE (both fractions)."""
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from compare_raster import read_png  # noqa: E402


def main():
    reference, plotted = sys.argv[1], sys.argv[2]
    per_mm, pen = float(sys.argv[3]), float(sys.argv[4])
    least, most = float(sys.argv[5]), float(sys.argv[6])
    wa, ha, ref = read_png(reference)
    wb, hb, ink = read_png(plotted)
    if (wa, ha) != (wb, hb):
        sys.exit(f"the pictures differ in size: {wa}x{ha} and {wb}x{hb}")
    reach = pen / 2 * per_mm
    r = int(reach)
    disc = [(dx, dy) for dy in range(-r, r + 1) for dx in range(-r, r + 1)
            if dx * dx + dy * dy <= reach * reach]
    filled = covered = inked = outside = 0
    for y in range(ha):
        ref_row, ink_row = ref[y], ink[y]
        for x in range(wa):
            if ref_row[x]:
                filled += 1
                covered += ink_row[x]
            if not ink_row[x]:
                continue
            inked += 1
            if ref_row[x]:
                continue
            if not any(0 <= y + dy < ha and 0 <= x + dx < wa and ref[y + dy][x + dx]
                       for dx, dy in disc):
                outside += 1
    share = covered / filled if filled else 0.0
    stray = outside / inked if inked else 1.0
    print(f"covered {100 * share:.2f}% of {filled} reference pixels; "
          f"outside {100 * stray:.3f}% of {inked} ink pixels")
    if share < least or stray > most:
        sys.exit(1)


main()
