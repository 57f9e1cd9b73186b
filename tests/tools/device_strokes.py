#!/usr/bin/env python3
"""The demo sheet through each device language, read back and compared with
the SVG virtual plotter's sheet.

Each reader below knows only its language's commands: where the pen goes,
and whether it is down. The strokes it finds, in millimetres, must cover the
SVG plotter's strokes and lie on them, within one device step (curves that
the device draws itself, CI and AA, are cut into chords of a degree here).
G-code is read by gcode-interpreter (npm), which this project did not
write: its pen-down motions must be the SVG plotter's lines, one for one,
within 0.01 mm, and it must see each pen change only when the pen changes.
GP-GL and DM/PL have no reader outside this project, so the first strokes
of their sheets are also compared with bytes written by hand from the
command definitions.

usage: device_strokes.py OUT_FOLDER [NODE NODE_MODULES]"""
import math
import os
import re
import subprocess
import sys

SHEET_HEIGHT = 277.0  # the demo's plotting area is 400 x 277 mm


def svg_strokes(text):
    height = float(re.search(r'viewBox="0 0 [\d.]+ ([\d.]+)"', text).group(1))
    strokes = []
    for m in re.finditer(r'<line x1="([-\d.]+)" y1="([-\d.]+)" x2="([-\d.]+)" y2="([-\d.]+)"/>', text):
        x1, y1, x2, y2 = map(float, m.groups())
        strokes.append((x1 / 10, (height - y1) / 10, x2 / 10, (height - y2) / 10))
    return strokes


class Pen:
    """Where the pen is and whether it draws; strokes in millimetres."""

    def __init__(self, step):
        self.step, self.x, self.y, self.down, self.strokes = step, 0.0, 0.0, False, []

    def go(self, x, y):
        x, y = x * self.step, y * self.step
        if self.down:
            self.strokes.append((self.x, self.y, x, y))
        self.x, self.y = x, y

    def arc(self, cx, cy, sweep_degrees):
        # From the pen's place around (cx, cy), in chords of a degree.
        cx, cy = cx * self.step, cy * self.step
        r = math.hypot(self.x - cx, self.y - cy)
        start = math.atan2(self.y - cy, self.x - cx)
        n = max(1, int(abs(sweep_degrees)))
        for i in range(1, n + 1):
            a = start + math.radians(sweep_degrees) * i / n
            x, y = cx + r * math.cos(a), cy + r * math.sin(a)
            self.strokes.append((self.x, self.y, x, y))
            self.x, self.y = x, y


def pairs(text):
    numbers = [float(v) for v in text.split(",") if v.strip()]
    return list(zip(numbers[0::2], numbers[1::2]))


def hpgl_strokes(data, step):
    """HP-GL as the HP 7475A, 7550A and CAMM-GL mode 2 take it: ESC. device
    control to its colon, labels to ETX, then PU/PD with pairs, CI and AA."""
    text = re.sub(rb"\x1b\.[^:]*:", b"", data)
    text = re.sub(rb"LB[^\x03]*\x03", b"", text).decode("ascii")
    pen = Pen(step)
    for command in text.replace("\r\n", "").split(";"):
        name, args = command[:2], command[2:]
        if name in ("PU", "PD"):
            pen.down = name == "PD"
            for x, y in pairs(args):
                pen.go(x, y)
        elif name == "CI":
            r = float(args) * step
            cx, cy = pen.x, pen.y
            saved = pen.down
            pen.x, pen.down = cx + r, False
            pen.arc(cx / step, cy / step, 360)
            pen.x, pen.y, pen.down = cx, cy, saved
        elif name == "AA":
            cx, cy, sweep = (float(v) for v in args.split(","))
            pen.arc(cx, cy, sweep)
        elif name == "IN":
            pen.x = pen.y = 0.0
            pen.down = False
    return pen.strokes


def dxy_strokes(data, step):
    """CAMM-GL mode 1 (DXY-like): one command a line; M moves, D draws
    through its pairs, H goes home."""
    pen = Pen(step)
    for line in data.decode("ascii").split("\r\n"):
        if line[:1] in ("M", "D"):
            pen.down = line[0] == "D"
            for x, y in pairs(line[1:]):
                pen.go(x, y)
        elif line == "H":
            pen.down = False
            pen.go(0, 0)
    return pen.strokes


def gpgl_strokes(data, step, feed_first=False):
    """GP-GL: commands end in ETX; M moves, D draws through its pairs, J
    picks a pen, H goes home. A media-feed cutter gives the distance from
    the top edge first."""
    pen = Pen(step)
    for command in data.decode("ascii").split("\x03"):
        if command[:1] in ("M", "D"):
            pen.down = command[0] == "D"
            for a, b in pairs(command[1:]):
                pen.go(b, SHEET_HEIGHT / step - a) if feed_first else pen.go(a, b)
        elif command == "H":
            pen.down = False
            pen.go(0, 0)
    return pen.strokes


def ebb_strokes(data, step):
    """The EiBotBoard: commands end in CR; SM,<ms>,<m1>,<m2> moves the two
    motors of an H-bot (x = (m1 + m2) / 2, y = (m1 - m2) / 2 steps, y from
    the top edge), SP,1 lifts the pen and SP,0 lowers it. Every move must
    keep each turning motor within the board's 1.31 to 25000 steps a second."""
    pen = Pen(step)
    x = y = 0
    pen.go(0, SHEET_HEIGHT / step)
    for command in data.decode("ascii").split("\r"):
        fields = command.split(",")
        if fields[0] == "SP":
            pen.down = fields[1] == "0"
        elif fields[0] == "SM":
            ms, m1, m2 = (int(v) for v in fields[1:4])
            for m in (m1, m2):
                if ms < 1 or (m != 0 and not 1.31 <= abs(m) * 1000 / ms <= 25000):
                    raise ValueError(f"{command}: a motor outside 1.31 to 25000 steps a second")
            x, y = x + (m1 + m2) / 2, y + (m1 - m2) / 2
            pen.go(x, SHEET_HEIGHT / step - y)
    return pen.strokes


def dmpl_strokes(data, step):
    """DM/PL: blank-separated; U and D set the pen for the pairs behind
    them, P picks a pen, H goes home; ;: starts, A, L, EC and @ set modes."""
    pen = Pen(step)
    for token in data.decode("ascii").replace(";:", " ").split():
        m = re.fullmatch(r"([UD]?)(-?\d+),(-?\d+)", token)
        if m:
            if m.group(1):
                pen.down = m.group(1) == "D"
            pen.go(float(m.group(2)), float(m.group(3)))
        elif token in ("U", "D"):
            pen.down = token == "D"
        elif token == "H":
            pen.down = False
            pen.go(0, 0)
    return pen.strokes


class Near:
    """Strokes in a grid of 1 mm cells, for the distance of a point to the
    nearest of them."""

    def __init__(self, strokes):
        self.cells = {}
        for s in strokes:
            for cx in range(math.floor(min(s[0], s[2])) - 1, math.floor(max(s[0], s[2])) + 2):
                for cy in range(math.floor(min(s[1], s[3])) - 1, math.floor(max(s[1], s[3])) + 2):
                    self.cells.setdefault((cx, cy), []).append(s)

    def distance(self, x, y):
        best = math.inf
        for x1, y1, x2, y2 in self.cells.get((math.floor(x), math.floor(y)), []):
            dx, dy = x2 - x1, y2 - y1
            length = dx * dx + dy * dy
            t = 0 if length == 0 else max(0, min(1, ((x - x1) * dx + (y - y1) * dy) / length))
            best = min(best, math.hypot(x1 + t * dx - x, y1 + t * dy - y))
        return best


def farthest(strokes, near, spacing):
    """The largest distance from a point of `strokes` to the other set."""
    worst = 0.0
    for x1, y1, x2, y2 in strokes:
        n = max(1, int(math.hypot(x2 - x1, y2 - y1) / spacing))
        for i in range(n + 1):
            worst = max(worst, near.distance(x1 + (x2 - x1) * i / n, y1 + (y2 - y1) * i / n))
    return worst


def compare(name, strokes, reference, tolerance):
    if not strokes:
        return [f"{name}: the reader found no strokes"]
    drawn = sum(math.hypot(s[2] - s[0], s[3] - s[1]) for s in strokes)
    wanted = sum(math.hypot(s[2] - s[0], s[3] - s[1]) for s in reference)
    off = farthest(strokes, Near(reference), 0.2)
    missed = farthest(reference, Near(strokes), 0.2)
    print(f"{name}: {len(strokes)} strokes, {drawn:.1f} mm drawn (SVG {wanted:.1f} mm); "
          f"farthest off the SVG's strokes {off:.4f} mm, farthest SVG point missed {missed:.4f} mm "
          f"(tolerance {tolerance} mm)")
    if off > tolerance or missed > tolerance:
        return [f"{name}: the strokes are not the SVG plotter's within {tolerance} mm"]
    return []


def gcode(folder, node, modules, file, mode, reference):
    """gcode-interpreter's pen-down motions against the SVG's lines, in order."""
    args = [node, os.path.join(os.path.dirname(__file__), "gcode_strokes.js"), modules,
            os.path.join(folder, file)] + mode
    lines = subprocess.run(args, capture_output=True, text=True, check=True).stdout.split("\n")
    changes = [line for line in lines if line.startswith("pen")]
    strokes = [tuple(map(float, line.split())) for line in lines if line and not line.startswith("pen")]
    failures = []
    repeated = sum(1 for a, b in zip(changes, changes[1:]) if a == b)
    if repeated:
        failures.append(f"{file}: {repeated} pen changes repeat the pen's state")
    if len(strokes) != len(reference):
        failures.append(f"{file}: {len(strokes)} pen-down motions, the SVG plotter drew {len(reference)} lines")
    ends = max((math.hypot(a[2] - b[2], a[3] - b[3]) for a, b in zip(strokes, reference)), default=0)
    # A move of less than 0.05 mm is left out by the library, so a line may
    # start from where the pen stands, a little short of the SVG's start.
    starts = max((math.hypot(a[0] - b[0], a[1] - b[1]) for a, b in zip(strokes, reference)), default=0)
    print(f"{file} (gcode-interpreter): {len(strokes)} pen-down motions, {len(changes)} pen changes; "
          f"farthest end {ends:.4f} mm, farthest start {starts:.4f} mm")
    if ends > 0.01 or starts > 0.05 + 0.01:
        failures.append(f"{file}: the motions are not the SVG plotter's lines within 0.01 mm")
    return failures


# The first strokes of the sheet, written from the command definitions: the
# frame, a rectangle from (5, 5) to (395, 272) mm with pen 1.
GOLDEN = {
    # GP-GL, 0.1 mm a step; each command ends in ETX.
    "demo.gpgl": b"H\x03J1\x03M50,50\x03D3950,50\x03D3950,2720\x03D50,2720\x03D50,50\x03",
    # The feed axis first: 277 - 5 = 272 mm from the top edge, then x.
    "demo-feed.gpgl": b"H\x03J1\x03M2720,50\x03D2720,3950\x03D50,3950\x03D50,50\x03D2720,50\x03",
    # DM/PL, 0.001 inch a step: 5 mm is 196.85, 395 mm 15551.18, 272 mm 10708.66.
    "demo.dmpl": b";:H A L0 EC1 \r\nP1 \r\nU197,197 D15551,197 D15551,10709 D197,10709 D197,197 ",
}

MODELS = [
    ("demo.camm2", hpgl_strokes, 0.025),
    ("demo.7475a", hpgl_strokes, 0.0248756),
    ("demo.7550a", hpgl_strokes, 0.025),
    ("demo.camm1", dxy_strokes, 0.025),
    ("demo.gpgl", gpgl_strokes, 0.1),
    ("demo-feed.gpgl", lambda d, s: gpgl_strokes(d, s, feed_first=True), 0.1),
    ("demo.dmpl", dmpl_strokes, 0.0254),
    # A step of 0.0125 mm is finer than the SVG sheet's 0.01 mm numbers.
    ("demo.ebb", ebb_strokes, 0.0125, 0.02),
]


def main():
    folder = sys.argv[1]
    reference = svg_strokes(open(os.path.join(folder, "demo.svg"), encoding="cp932").read())
    failures = []
    for file, reader, step, *tolerance in MODELS:
        data = open(os.path.join(folder, file), "rb").read()
        failures += compare(file, reader(data, step), reference, max([step] + tolerance))
    for file, golden in GOLDEN.items():
        data = open(os.path.join(folder, file), "rb").read()
        if not data.startswith(golden):
            failures.append(f"{file}: starts {data[:len(golden)]!r}, not {golden!r}")
    if len(sys.argv) > 3:
        node, modules = sys.argv[2:4]
        failures += gcode(folder, node, modules, "demo.gcode", ["servo", "30"], reference)
        failures += gcode(folder, node, modules, "demo-z.gcode", ["z"], reference)
    if failures:
        sys.exit("\n".join(failures))


main()
