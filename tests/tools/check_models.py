#!/usr/bin/env python3
"""konib check: every bundled model passes with the bytes of its sample job,
and a model with one fault of each kind gets exactly its findings.

usage: check_models.py KONIB MODELS_FOLDER BAD_MODEL"""
import os
import re
import subprocess
import sys

# Bundled model, and lines its report must hold (the sample job's bytes, escaped).
BUNDLED = {
    "hpgl.ini": [r"^  NibInitiate +IN;DF;PA;\\n$", r"^  pen 1, line \(10,10\)-\(110,10\) +SP1;\\nLT;PU400,400;PD4400,400;$",
                 r"^  arc \(200,100\) r 40, 0 to 90 degrees +PU9600,4000;PD;AA8000,4000,90\.0;$"],
    "hpgl2.ini": [r"^  NibInitiate +\\\$1B%0BIN;\\n$", r"^  pen 2, dot \(250,20\) +SP2;PW0\.5;\\nPU9998,800;PD10002,800;$"],
    "dxygl.ini": [r"^  style 0, circle \(200,100\) r 30 +C2000,1000,300,0,360\\n$"],
    "svg.ini": [r"^  NibTerminate +</svg>\\n$", r"^  .*\.\.\. \(\d+ bytes\)$"],
    "digitizer.ini": [],
    "gcode.ini": [r"^  line \(110,10\)-\(110,60\) +G1 X110\.000 Y60\.000 F1500\\\$0A$"],
    "gpgl.ini": [r"^  pen 1, line \(10,10\)-\(110,10\) +J1\\\$03M100,100\\\$03D1100,100\\\$03$"],
    "cammgl.ini": [r"^  NibInitiate +IN;PA;\\n$"],
    "dmpl.ini": [r"^  NibTerminate +H @ \\n$"],
    "ebb.ini": [r"^  NibInitiate +EM,1,1\\\$0DSC,4,20641\\\$0DSC,5,15248\\\$0D$"],
    "hp75xx.ini": [r"^  NibInitiate +\\\$1B\.@;0:\\\$1B\.I150;;17:\\\$1B\.N;19:IN;DF;PA;\\n$"],
}

# Models whose curves would vanish: a limit that hands circles or arcs to a
# command the model lacks. Each text, with the findings it must get.
CURVES = [
    ("[Lines]\r\nCommand.Line=L\r\nCommand.Arc=A\r\n",
     [":1: [Lines] Ctrl.DrawArc: not given: solid circles up to a radius of 150 go to Command.Circle, which the "
      "model does not have, so nothing is sent for them (Ctrl.DrawArc=0 draws chords)"]),
    ("[Lines]\r\nCtrl.DrawArc=-1\r\nCommand.Line=L\r\nCommand.Circle=C\r\n",
     [":2: [Lines] Ctrl.DrawArc: every solid arc goes to Command.Arc, which the model does not have, so nothing "
      "is sent for it (Ctrl.DrawArc=0 draws chords)"]),
    ("[Lines]\r\nCtrl.DrawArc=0\r\nCommand.Line=L\r\n", []),
    ("[Digitizer]\r\nDigitize.Position=DP;\r\n", []),
    # Fills: konib's own pen width is no unknown key, but must be a width.
    ("[Pens]\r\nCtrl.DrawArc=0\r\nKonib.PenWidth=0.35\r\n", []),
    ("[Pens]\r\nCtrl.DrawArc=0\r\nkonib.penwidth=0.3mm\r\n",
     [':3: [Pens] konib.penwidth: "0.3mm" is no pen width: give millimetres from 0.01 to 100']),
]


BAD_FINDINGS = [
    ':18: 1 line(s) end in LF alone; the library reads only CR LF line ends',
    ':12: [Bad Set] Command.Init: \\$ is not followed by two hexadecimal digits: it sends "$"',
    ':13: [Bad Set] Command.Move: \\x2, is no escape of Command.Move: it sends "x" and what follows as text',
    ':13: [Bad Set] Command.Move: \\y2; is no escape of Command.Move: it sends "y" and what follows as text',
    ':15: [Bad Set] Command.Circle: \\(r1 is not closed as a number: write \\(r1,format,operation)',
    ':16: [Bad Set] Command.Pen: \\e4 reads a value the model does not have',
    ':17: [Bad Set] Command.Arc: \\[ opens an extension call that no ] closes: its text goes out as it stands',
    ':18: [Bad Set] Command.Style: \\ls reads a value the model does not have',
    ':4: [Bad Plotter] Step: field 0 "0.025x" is not a number',
    ':6: [Bad Plotter] Paper: the default entry 5 has no value Paper.5',
    ':7: [Bad Plotter] Paper.4: field 2 "2l0" is not a number',
    ':8: [Bad Plotter] PenLayot: no key of that name (nearest: PenLayout)',
]


def check(konib, *args):
    run = subprocess.run([konib, "check", *args], capture_output=True, text=True, timeout=60)
    return run.returncode, run.stdout.splitlines(), run.stderr


def main():
    konib, models, bad = sys.argv[1:4]
    failures = []
    for name, wanted in BUNDLED.items():
        code, lines, err = check(konib, os.path.join(models, name))
        if code != 0 or lines[-1] != "0 problem(s)":
            failures.append(f"{name}: exit {code}, {lines[-1:]} {err}")
        for pattern in wanted:
            if not any(re.search(pattern, line) for line in lines):
                failures.append(f"{name}: no line like /{pattern}/")
    code, lines, err = check(konib, bad)
    findings = [line[len(bad):] for line in lines if line.startswith(bad + ":")]
    if code != 1 or findings != BAD_FINDINGS or lines[-1] != f"{len(BAD_FINDINGS)} problem(s)":
        failures.append(f"{bad}: exit {code}, findings:\n" + "\n".join(findings))
    code, lines, err = check(konib, bad, "No Such Model")
    if code != 1 or "no section [No Such Model]" not in err:
        failures.append(f"a missing section: exit {code}, {err}")
    for text, wanted in CURVES:
        curves = os.path.join(os.environ.get("TMPDIR", "/tmp"), f"konib-curves-{os.getpid()}.ini")
        with open(curves, "wb") as f:
            f.write(text.encode("ascii"))
        code, lines, err = check(konib, curves)
        os.remove(curves)
        findings = [line[len(curves):] for line in lines if line.startswith(curves + ":")]
        if findings != wanted or code != (1 if wanted else 0):
            failures.append(f"{text!r}: exit {code}, findings:\n" + "\n".join(findings))
    if failures:
        sys.exit("\n".join(failures))
    print("all models checked as expected")


main()
