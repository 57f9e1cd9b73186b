#!/usr/bin/env python3
"""A plotter on a pseudo-terminal: `konib plot --port` sends a drawing to it
while it takes in bytes slower than they can come, honouring XON/XOFF the way
a plotter with a small buffer does.

The plotter reads everything the line delivers into a buffer of CAPACITY
bytes and plots RATE bytes per millisecond out of it. When the buffer holds
HIGH bytes it sends XOFF, and XON again once it is down to LOW. A byte that
arrives at a full buffer is lost, as on a real plotter.

A pseudo-terminal is a line of no fixed speed: what konib writes arrives at
once, so only the plotter's XOFF can hold konib back. What konib wrote before
XOFF took effect is still on its way then: at most what the kernel holds for
a pseudo-terminal (64 KiB of buffer and 4 KiB of line discipline), which the
plotter's buffer leaves room for, however late this script reads. Without
flow control nothing holds konib back, and the buffer overflows.

usage: pty_plotter.py KONIB FOLDER
The drawing, a spiral of 16000 pieces, is written into FOLDER; the bytes
that must arrive are those that `konib plot -o` writes for it.
Runs two cases: with --flow xonxoff every byte must arrive, in order, with
XOFF sent at least once, and the progress bar (konib's stderr is a terminal
too) must end at 100%; with --flow none the same plotter must overflow,
which shows that the first case was not passed by luck."""
import math
import os
import re
import select
import signal
import subprocess
import sys
import termios
import time
import tty

CAPACITY, HIGH, LOW, RATE = 96 * 1024, 4096, 1024, 128
XON, XOFF = b"\x11", b"\x13"


def raw_pty():
    master, slave = os.openpty()
    tty.setraw(slave)
    return master, slave


def plot(konib, drawing, flow, interrupt=False):
    port_master, port_slave = raw_pty()
    err_master, err_slave = raw_pty()
    command = [konib, "plot", drawing, "--model", "hpgl", "--port", os.ttyname(port_slave),
               "--baud", "9600", "--flow", flow]
    child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                             stderr=err_slave, close_fds=True)
    os.close(err_slave)
    received, buffer, progress = bytearray(), 0, bytearray()
    lost = xoffs = 0
    paused = interrupted = False
    paused_at = 0.0
    last = heard_at = time.monotonic()
    deadline = last + 60
    while time.monotonic() < deadline:
        ready, _, _ = select.select([port_master, err_master], [], [], 0.001)
        if port_master in ready:
            data = os.read(port_master, 65536)
            for byte in data:
                if buffer >= CAPACITY:
                    lost += 1
                else:
                    buffer += 1
                    received.append(byte)
        if err_master in ready:
            try:
                progress += os.read(err_master, 65536)
            except OSError:
                pass
        now = time.monotonic()
        buffer = max(0, buffer - int((now - last) * 1000 * RATE))
        last = now
        if interrupt and paused and not interrupted and now - paused_at > 0.3:
            # Ctrl-C while the plotter holds konib back; then take all there is.
            child.send_signal(signal.SIGINT)
            interrupted, paused, buffer = True, False, 0
            os.write(port_master, XON)
        if interrupted:
            buffer = 0
        elif not paused and buffer >= HIGH:
            os.write(port_master, XOFF)
            paused, xoffs, paused_at = True, xoffs + 1, now
        elif paused and buffer <= LOW and not interrupt:
            os.write(port_master, XON)
            paused = False
        if port_master in ready:
            heard_at = now
        # The pseudo-terminal hands bytes on a little later than konib wrote
        # them, later still on a busy machine: after konib has ended, wait
        # for half a second of silence before taking the plot as complete.
        if child.poll() is not None and now - heard_at > 0.5:
            break
    else:
        child.kill()
        sys.exit(f"{flow}: konib did not finish within a minute")
    try:
        while True:
            ready, _, _ = select.select([err_master], [], [], 0.05)
            if not ready:
                break
            progress += os.read(err_master, 65536)
    except OSError:
        pass
    for fd in (port_master, port_slave, err_master):
        os.close(fd)
    return child.returncode, bytes(received), lost, xoffs, progress.decode("ascii", "replace")


def spiral(folder):
    points = " ".join(f"{100 + i / 170 * math.cos(i / 40):.3f},{100 + i / 170 * math.sin(i / 40):.3f}"
                      for i in range(16001))
    drawing = os.path.join(folder, "spiral.svg")
    with open(drawing, "w") as f:
        f.write('<svg xmlns="http://www.w3.org/2000/svg" width="200mm" height="200mm" '
                f'viewBox="0 0 200 200"><polyline fill="none" stroke="black" points="{points}"/></svg>')
    return drawing


def main():
    konib, folder = sys.argv[1:3]
    os.makedirs(folder, exist_ok=True)
    drawing = spiral(folder)
    expected_file = os.path.join(folder, "spiral.hpgl")
    subprocess.run([konib, "plot", drawing, "--model", "hpgl", "-o", expected_file], check=True)
    expected = open(expected_file, "rb").read()
    code, received, lost, xoffs, progress = plot(konib, drawing, "xonxoff")
    print(f"xonxoff: exit {code}, {len(received)} of {len(expected)} bytes, {lost} lost, {xoffs} XOFF sent")
    last_line = progress.replace("\r", "\n").strip().split("\n")[-1] if progress.strip() else ""
    print(f"last progress line: {last_line!r}")
    failures = []
    if code != 0:
        failures.append(f"konib exited with {code}: {progress}")
    if received != expected:
        at = next((i for i, (a, b) in enumerate(zip(received, expected)) if a != b), min(len(received), len(expected)))
        failures.append(f"the bytes differ from byte {at} on")
    if lost or xoffs == 0:
        failures.append("the plotter lost bytes or never had to pause the sender")
    if "100%" not in last_line or f"{len(expected)}/{len(expected)} bytes" not in last_line:
        failures.append("the progress bar did not end at 100%")
    code, received, lost, xoffs, _ = plot(konib, drawing, "none")
    print(f"none: exit {code}, {len(received)} bytes, {lost} lost, {xoffs} XOFF sent")
    if lost == 0:
        failures.append("without flow control the plotter should have overflowed")
    code, received, lost, xoffs, said = plot(konib, drawing, "xonxoff", interrupt=True)
    abort = b"PU;SP0;\r\n"
    print(f"Ctrl-C: exit {code}, {len(received)} bytes, ending {received[-12:]!r}")
    # The spiral is one path: the plot stopped in it, part of its ink drawn.
    stop = re.search(r"stopped in path 1 of 1, (\d+) of (\d+) mm drawn; --resume-from 1 plots the rest", said)
    print(f"Ctrl-C: {stop.group(0) if stop else 'no stop report'}")
    if not stop:
        failures.append("Ctrl-C should say where the plot stopped")
    if code != 130 or not received.endswith(abort) or len(received) >= len(expected) + len(abort) \
            or not expected.startswith(received[:-len(abort)]):
        failures.append("Ctrl-C should stop the job, send the abort command and exit with 130")
    if failures:
        sys.exit("\n".join(failures))


main()
