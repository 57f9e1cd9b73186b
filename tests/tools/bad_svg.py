#!/usr/bin/env python3
"""Bad drawings: each must end konib with exit code 1 and one clear message
that names the file (and the line and element where there is one), within a
bounded amount of memory (the address space is limited to 1 GiB, and the
largest resident size is reported), and never with a crash.

usage: bad_svg.py KONIB FOLDER"""
import os
import re
import resource
import subprocess
import sys

HEAD = '<svg xmlns="http://www.w3.org/2000/svg" width="100mm" height="100mm" viewBox="0 0 100 100">\n'
SAMPLE = HEAD + '<g stroke="red">\n<rect x="1" y="1" width="10" height="10"/>\n<circle cx="50" cy="50" r="20"/>\n</g>\n</svg>\n'

CASES = [
    ("truncated", SAMPLE[:len(SAMPLE) // 2], r"truncated\.svg:2: not well-formed XML"),
    ("long-path", HEAD + '<path stroke="red" d="M0 0' + " L1 1" * (2 << 20) + '"/>\n</svg>',
     r"long-path\.svg:2: <path>: d is longer than 1048576 bytes"),
    ("million-elements", HEAD + "<g/>" * 3000000 + "</svg>", r"million-elements\.svg: more than 2500000 tags"),
    ("entity-expansion", '<?xml version="1.0"?>\n<!DOCTYPE svg [\n<!ENTITY a "aaaaaaaaaa">\n'
     + "".join(f'<!ENTITY {chr(98 + i)} "{("&" + chr(97 + i) + ";") * 10}">\n' for i in range(9))
     + "]>\n" + HEAD + '<text x="1" y="1">&j;</text></svg>', r"entity-expansion\.svg: entities nest or repeat beyond bounds"),
    ("external-entity", '<!DOCTYPE svg [<!ENTITY x SYSTEM "file:///etc/passwd">]>\n' + HEAD + "<text>&x;</text></svg>",
     r'external-entity\.svg: the external entity "x" is not read'),
    ("deep", HEAD + "<g>" * 100000 + "</g>" * 100000 + "</svg>", r"deep\.svg:2: <g>: elements nested more than 256 deep"),
    ("too-large", HEAD + "<!--" + "x" * (129 << 20) + "--></svg>", r"too-large\.svg: larger than 134217728 bytes"),
    ("binary", "\x00\x01\xff\xfe<svg", r"binary\.svg:1: not well-formed XML"),
    ("not-svg", "<html><body/></html>", r"not-svg\.svg:1: <html>: the document is not SVG"),
    ("no-size", '<svg xmlns="http://www.w3.org/2000/svg"><line x2="1" stroke="red"/></svg>',
     r"no-size\.svg:1: <svg>: the document has no size, and its content none either"),
    ("use-bomb", HEAD + '<defs><g id="l0"><line x2="1" stroke="red"/></g>\n'
     + "".join(f'<g id="l{i}">' + f'<use href="#l{i - 1}"/>' * 10 + "</g>\n" for i in range(1, 10))
     + '</defs><use href="#l9"/></svg>',
     r"use-bomb\.svg:\d+: <\w+>: more than \d+ elements, <use> instances and markers counted"),
]


def limit_memory():
    if not os.environ.get("KONIB_NO_ADDRESS_LIMIT"):
        resource.setrlimit(resource.RLIMIT_AS, (1 << 30, 1 << 30))


def main():
    konib, folder = sys.argv[1:3]
    os.makedirs(folder, exist_ok=True)
    failures = []
    for name, text, expected in CASES:
        path = os.path.join(folder, name + ".svg")
        with open(path, "wb") as f:
            f.write(text.encode("latin-1"))
        before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
        run = subprocess.run([konib, "plot", path, "-o", os.path.join(folder, name + ".out")],
                             capture_output=True, text=True, preexec_fn=limit_memory, timeout=120)
        peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
        message = run.stderr.strip()
        print(f"{name}: exit {run.returncode}, {max(peak, before) // 1024} MiB at most so far: {message}")
        if run.returncode != 1 or not re.search(expected, message) or message.count("\n") != 0:
            failures.append(f"{name}: expected exit 1 and /{expected}/")
        if os.path.exists(os.path.join(folder, name + ".out")):
            failures.append(f"{name}: an output file was written")
    if failures:
        sys.exit("\n".join(failures))


main()
