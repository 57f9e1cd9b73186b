#!/usr/bin/env python3
"""Devices that answer, on a pseudo-terminal: `konib plot --port` holds the
conversation each expects.

A GRBL-like controller keeps what arrives in a receive buffer of 128 bytes,
loses what does not fit, and executes one line at a time out of it, each
answered "ok". With the line acknowledge (konib counts the characters of
unanswered lines) every byte must arrive; without it the same controller
must lose bytes, which shows that the first case was not passed by luck.
Ctrl-C must end the plot with GRBL's soft reset (Ctrl-X) and exit 130.
The same controller answering "error:20" to line 40 must stop konib with
exit 2 and a message that names the line; one that never answers must end
konib with exit 2 within its timeout, not hang it.

An EiBotBoard-like controller does the same with commands ended by CR,
each answered OK.

An HP-like plotter keeps 1024 bytes, plots them at a fixed rate and
answers ESC.B with its free space: asking before each piece (buffer query)
no byte is lost, and without asking bytes are lost.

usage: pty_devices.py KONIB FOLDER"""
import math
import os
import select
import signal
import subprocess
import sys
import time
import tty


def spiral(folder, points):
    text = " ".join(f"{100 + i / 30 * math.cos(i / 20):.3f},{100 + i / 30 * math.sin(i / 20):.3f}"
                    for i in range(points))
    drawing = os.path.join(folder, "spiral.svg")
    with open(drawing, "w") as f:
        f.write('<svg xmlns="http://www.w3.org/2000/svg" width="200mm" height="200mm" '
                f'viewBox="0 0 200 200"><polyline fill="none" stroke="black" points="{text}"/></svg>')
    return drawing


class Grbl:
    """Executes a line every LINE_TIME seconds out of a 128-byte buffer."""
    LINE_TIME, CAPACITY, END, OK = 0.0003, 128, b"\n", b"ok\r\n"

    def __init__(self, error_at=0, silent=False):
        self.buffer, self.received, self.lost, self.lines = bytearray(), bytearray(), 0, 0
        self.error_at, self.silent, self.next_at = error_at, silent, 0.0

    def greeting(self):
        return b"" if self.silent else b"\r\nGrbl 1.1h ['$' for help]\r\n"

    def take(self, data):
        for byte in data:
            if len(self.buffer) >= self.CAPACITY:
                self.lost += 1
            else:
                self.buffer.append(byte)
        return b""

    def run(self, now):
        if self.silent or now < self.next_at or self.END not in self.buffer:
            return b""
        end = self.buffer.index(self.END) + 1
        self.received += self.buffer[:end]
        del self.buffer[:end]
        self.lines += 1
        self.next_at = now + self.LINE_TIME
        return b"error:20\r\n" if self.lines == self.error_at else self.OK


class EiBotBoard(Grbl):
    """The same with the board's 64 bytes, commands ended by CR and OK."""
    CAPACITY, END, OK = 64, b"\r", b"OK\r\n"

    def greeting(self):
        return b""


class HpPlotter:
    """Plots RATE bytes a millisecond out of a 1024-byte buffer; ESC.B asks
    for the free space, and is no data."""
    CAPACITY, RATE = 1024, 40

    def __init__(self):
        self.held, self.received, self.lost, self.pending, self.last = 0, bytearray(), 0, b"", None

    def greeting(self):
        return b""

    def take(self, data):
        replies = b""
        data = self.pending + data
        self.pending = b""
        i = 0
        while i < len(data):
            if data[i] == 0x1B and len(data) - i < 3:
                self.pending = data[i:]
                break
            if data[i:i + 3] == b"\x1b.B":
                replies += f"{self.CAPACITY - self.held}\r".encode()
                i += 3
                continue
            if self.held >= self.CAPACITY:
                self.lost += 1
            else:
                self.held += 1
                self.received.append(data[i])
            i += 1
        return replies

    def run(self, now):
        if self.last is not None:
            self.held = max(0, self.held - int((now - self.last) * 1000 * self.RATE))
        self.last = now
        return b""


def plot(konib, drawing, model, flow, device, timeout=None, interrupt_after=None):
    master, slave = os.openpty()
    tty.setraw(slave)
    os.write(master, device.greeting())
    command = [konib, "plot", drawing, "--model", model, "--port", os.ttyname(slave), "--baud", "115200",
               "--flow", flow, "--progress", "never"]
    if timeout is not None:
        command += ["--timeout", str(timeout)]
    started = time.monotonic()
    child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                             stderr=subprocess.PIPE, close_fds=True)
    heard = time.monotonic()
    while time.monotonic() - started < 60:
        ready, _, _ = select.select([master], [], [], 0.0002)
        now = time.monotonic()
        if ready:
            answer = device.take(os.read(master, 65536))
            if answer:
                os.write(master, answer)
            heard = now
        answer = device.run(now)
        if answer:
            os.write(master, answer)
        if interrupt_after is not None and now - started > interrupt_after:
            child.send_signal(signal.SIGINT)
            interrupt_after = None
        if child.poll() is not None and now - heard > 0.5:
            break
    else:
        child.kill()
        sys.exit(f"{model} --flow {flow}: konib did not finish within a minute")
    seconds = time.monotonic() - started
    os.close(master)
    os.close(slave)
    return child.returncode, child.stderr.read().decode(), seconds


def main():
    konib, folder = sys.argv[1:3]
    os.makedirs(folder, exist_ok=True)
    drawing = spiral(folder, 3000)
    failures = []

    def expected(model):
        out = os.path.join(folder, "spiral." + model)
        subprocess.run([konib, "plot", drawing, "--model", model, "-o", out], check=True)
        return open(out, "rb").read()

    gcode = expected("gcode")
    for flow in ("ack", "none"):
        grbl = Grbl()
        code, err, _ = plot(konib, drawing, "gcode", flow, grbl)
        print(f"GRBL, --flow {flow}: exit {code}, {len(grbl.received)} of {len(gcode)} bytes executed, "
              f"{grbl.lost} lost")
        if flow == "ack" and (code != 0 or grbl.received != gcode or grbl.lost):
            failures.append(f"with the line acknowledge every byte must arrive: {err}")
        if flow == "none" and grbl.lost == 0:
            failures.append("without the line acknowledge the controller should have lost bytes")

    grbl = Grbl()
    grbl.LINE_TIME = 0.002
    code, err, _ = plot(konib, drawing, "gcode", "ack", grbl, interrupt_after=0.5)
    tail = bytes(grbl.received + grbl.buffer)
    print(f"GRBL, Ctrl-C: exit {code}, {len(grbl.received)} bytes executed, ends {tail[-8:]!r}")
    if code != 130 or not tail.endswith(b"\x18") or not gcode.startswith(bytes(grbl.received)):
        failures.append("Ctrl-C should send GRBL's soft reset behind what went out, and exit 130")

    grbl = Grbl(error_at=40)
    code, err, _ = plot(konib, drawing, "gcode", "ack", grbl)
    line40 = gcode.split(b"\n")[39].decode()
    print(f"GRBL answering error:20 to line 40: exit {code}, {err.strip()!r}")
    if code != 2 or f'answered "error:20" to line 40: {line40}' not in err:
        failures.append(f"an error answer should stop konib with exit 2, naming line 40 ({line40})")

    code, err, seconds = plot(konib, drawing, "gcode", "ack", Grbl(silent=True), timeout=1)
    print(f"a silent controller: exit {code} after {seconds:.1f} s, {err.strip()!r}")
    if code != 2 or "no answer for 1 s to line 1: G21" not in err or seconds > 10:
        failures.append("a silent controller should end konib with exit 2 within its timeout")

    ebb = expected("ebb")
    board = EiBotBoard()
    code, err, _ = plot(konib, drawing, "ebb", "ack", board)
    print(f"EiBotBoard, --flow ack: exit {code}, {len(board.received)} of {len(ebb)} bytes, {board.lost} lost")
    if code != 0 or board.received != ebb or board.lost:
        failures.append(f"the board's commands must all arrive, each answered OK: {err}")

    hpgl = expected("hp75xx")
    for flow in ("query", "none"):
        hp = HpPlotter()
        code, err, _ = plot(konib, drawing, "hp75xx", flow, hp)
        print(f"HP 7475A, --flow {flow}: exit {code}, {len(hp.received)} of {len(hpgl)} bytes, {hp.lost} lost")
        if flow == "query" and (code != 0 or bytes(hp.received) != hpgl or hp.lost):
            failures.append(f"asking ESC.B before each piece, every byte must arrive: {err}")
        if flow == "none" and hp.lost == 0:
            failures.append("without asking, the plotter should have lost bytes")
    if failures:
        sys.exit("\n".join(failures))


main()
