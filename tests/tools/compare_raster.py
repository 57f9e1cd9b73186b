#!/usr/bin/env python3
"""Compares two pictures of the same page, rasterised by rsvg-convert at the
same size, by their ink: a pixel is ink when, laid on white paper, it is
darker than mid grey. A pixel counts as differing when it is ink in one
picture and no pixel within RADIUS pixels of it is ink in the other, so that
a line drawn a fraction of a pixel away, or with other antialiasing, does
not count, while a missing or misplaced line does.

usage: compare_raster.py A.png B.png RADIUS MAX_FRACTION
Prints the figures and exits 1 when the differing pixels exceed MAX_FRACTION
of the ink pixels of A and B together."""
import struct
import sys
import zlib


def read_png(path):
    data = open(path, "rb").read()
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        sys.exit(f"{path}: not a PNG file")
    at, chunks, head = 8, [], None
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + length]
        if kind == b"IHDR":
            head = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            chunks.append(body)
        at += 12 + length
    width, height, depth, colour, _, _, interlace = head
    channels = {6: 4, 2: 3, 0: 1, 4: 2}.get(colour)
    if depth != 8 or channels is None or interlace != 0:
        sys.exit(f"{path}: only 8-bit non-interlaced grey or RGB(A) pictures are read")
    raw = zlib.decompress(b"".join(chunks))
    stride = width * channels
    rows, previous, at = [], bytearray(stride), 0
    for _ in range(height):
        kind, line = raw[at], bytearray(raw[at + 1:at + 1 + stride])
        at += 1 + stride
        for i in range(stride):
            a = line[i - channels] if i >= channels else 0
            b = previous[i]
            c = previous[i - channels] if i >= channels else 0
            if kind == 1:
                line[i] = (line[i] + a) & 255
            elif kind == 2:
                line[i] = (line[i] + b) & 255
            elif kind == 3:
                line[i] = (line[i] + (a + b) // 2) & 255
            elif kind == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append(line)
        previous = line
    ink = []
    for line in rows:
        row = []
        for x in range(width):
            px = line[x * channels:(x + 1) * channels]
            grey = px[0] if channels <= 2 else (299 * px[0] + 587 * px[1] + 114 * px[2]) // 1000
            alpha = px[-1] if channels in (2, 4) else 255
            on_white = (grey * alpha + 255 * (255 - alpha)) // 255
            row.append(on_white < 128)
        ink.append(row)
    return width, height, ink


def near(ink, x, y, radius, width, height):
    for yy in range(max(0, y - radius), min(height, y + radius + 1)):
        row = ink[yy]
        for xx in range(max(0, x - radius), min(width, x + radius + 1)):
            if row[xx]:
                return True
    return False


def main():
    a_path, b_path, radius, limit = sys.argv[1], sys.argv[2], int(sys.argv[3]), float(sys.argv[4])
    wa, ha, a = read_png(a_path)
    wb, hb, b = read_png(b_path)
    if (wa, ha) != (wb, hb):
        sys.exit(f"the pictures differ in size: {wa}x{ha} and {wb}x{hb}")
    ink = differing = 0
    for first, second in ((a, b), (b, a)):
        for y in range(ha):
            for x in range(wa):
                if first[y][x]:
                    ink += 1
                    if not near(second, x, y, radius, wa, ha):
                        differing += 1
    fraction = differing / ink if ink else 1.0
    print(f"{differing} of {ink} ink pixels differ ({100 * fraction:.3f}%), "
          f"tolerance {radius} px and {100 * limit:.3f}%")
    if ink == 0 or fraction > limit:
        sys.exit(1)


if __name__ == "__main__":
    main()
