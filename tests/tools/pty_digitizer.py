#!/usr/bin/env python3
"""konib digitize against a digitizer on a pseudo-terminal: the bundled
digitizer model asks for each point with DP;OD; and the device answers
x,y,pen CR LF in steps of 0.025 mm. konib must print the points in
millimetres, one a line, and on Ctrl-C send
the model's end (DC;) and exit 0.

usage: pty_digitizer.py KONIB MODELS_FOLDER"""
import os
import select
import signal
import subprocess
import sys
import time
import tty

REPLIES = [b"400,800,1\r\n", b"-40,12345,2\r\n", b"4000,0,1\r\n"]
EXPECTED = "10.000 20.000\n-1.000 308.625\n100.000 0.000\n"


def main():
    konib, models = sys.argv[1:3]
    master, slave = os.openpty()
    tty.setraw(slave)
    child = subprocess.Popen([konib, "digitize", "--model", os.path.join(models, "digitizer.ini"), "--port",
                              os.ttyname(slave), "--flow", "none"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    heard, replies = b"", list(REPLIES)
    deadline = time.monotonic() + 20
    while time.monotonic() < deadline:
        ready, _, _ = select.select([master], [], [], 0.05)
        if master in ready:
            heard += os.read(master, 4096)
        while replies and heard.count(b"OD;") > len(REPLIES) - len(replies):
            os.write(master, replies.pop(0))
        if not replies and heard.count(b"OD;") > len(REPLIES):
            break  # konib waits for a fourth point: time for Ctrl-C
    time.sleep(0.2)
    child.send_signal(signal.SIGINT)
    out, err = child.communicate(timeout=10)
    time.sleep(0.1)
    while select.select([master], [], [], 0.1)[0]:
        heard += os.read(master, 4096)
    print(f"exit {child.returncode}; heard {heard!r}; printed {out!r} {err!r}")
    failures = []
    if child.returncode != 0 or out.decode() != EXPECTED:
        failures.append(f"expected exit 0 and {EXPECTED!r}")
    if not heard.startswith(b"IN;\r\nDP;OD;") or not heard.endswith(b"DC;\r\n"):
        failures.append("the digitizer should hear IN; first and DC; last")
    if failures:
        sys.exit("\n".join(failures))


main()
