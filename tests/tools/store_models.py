#!/usr/bin/env python3
"""konib models on a store of its own: install, list, show, plot from the
store, remove; a model that is not there is bad input.

usage: store_models.py KONIB MODELS_FOLDER SAMPLE FOLDER"""
import os
import shutil
import subprocess
import sys


def konib(*args):
    run = subprocess.run([KONIB, *args], capture_output=True, timeout=60)
    return run.returncode, run.stdout.decode("latin-1"), run.stderr.decode("latin-1")


KONIB, MODELS, SAMPLE, FOLDER = sys.argv[1:5]
STORE = os.path.join(FOLDER, "store")
shutil.rmtree(FOLDER, ignore_errors=True)
os.makedirs(FOLDER)
HPGL, HPGL2 = "HP-GL A3 Pen Plotter", "HP-GL/2 A1 Roll Plotter"
failures = []


def expect(what, got, wanted):
    if got != wanted:
        failures.append(f"{what}:\n  got    {got!r}\n  wanted {wanted!r}")


expect("install", konib("models", "--store", STORE, "install", os.path.join(MODELS, "hpgl.ini")),
       (0, f"installed {HPGL}\n", ""))
expect("install by section", konib("models", "--store", STORE, "install", os.path.join(MODELS, "hpgl2.ini"), HPGL2),
       (0, f"installed {HPGL2}\n", ""))
expect("list", konib("models", "--store", STORE, "list"), (0, f"{HPGL}\n{HPGL2}\n", ""))
code, out, _ = konib("models", "--store", STORE, "show", HPGL)
expect("show", (code, out.split("Bins:")[0]),
       (0, f"Model: {HPGL}\nGuide:\n  Put an A3 or A4 sheet on the plotter and load pens 1 to 8.\n"
           "  Press ENTER on the plotter when the sheet is held.\nPapers:\n"
           "  * 3 A3 landscape (400 x 277 mm)\n    4 A4 landscape (277 x 190 mm)\n"))
expect("show, capabilities", out.splitlines()[-1],
       "Device changes pages: no; changes pens: no; draws every arc: yes; digitizes: no")
# A model from the store plots as the same model from its file.
from_store, from_file = os.path.join(FOLDER, "store.hpgl2"), os.path.join(FOLDER, "file.hpgl2")
expect("plot from the store", konib("plot", SAMPLE, "--store", STORE, "--model", HPGL2, "-o", from_store)[0], 0)
expect("plot from the file", konib("plot", SAMPLE, "--model", "hpgl2", "-o", from_file)[0], 0)
expect("the same bytes", open(from_store, "rb").read() == open(from_file, "rb").read(), True)
expect("remove", konib("models", "--store", STORE, "remove", HPGL), (0, f"removed {HPGL}\n", ""))
expect("list after remove", konib("models", "--store", STORE, "list"), (0, f"{HPGL2}\n", ""))
expect("remove again", konib("models", "--store", STORE, "remove", HPGL), (1, "", f'konib: no model "{HPGL}" in {STORE}\n'))
expect("show a missing model", konib("models", "--store", STORE, "show", "Nothing")[0], 1)
expect("plot a missing model", konib("plot", SAMPLE, "--store", STORE, "--model", HPGL, "-o", from_store),
       (1, "", f'konib: no model "{HPGL}" in the store {STORE}\n'))
if failures:
    sys.exit("\n".join(failures))
print("the store behaved")
