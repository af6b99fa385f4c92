#!/usr/bin/env python3
"""Draws docs/images/isolation.svg: what many chains cost in hosts, in one process, and in bare
processes. Measures for some two minutes; nothing else should run meanwhile.

usage: scripts/isolation_graph.py [JSON of "vesk-bench --json isolation"]
"""

import json
import os
import platform
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
WAYS = {"hosts": ("in hosts of a group", "#c2410c"), "bare": ("in bare processes", "#78716c"),
        "inside": ("in one process, a thread a CPU", "#1d4ed8")}
PANELS = {"all done": "until all are done, us", "CPU a period": "CPU time of all, us a period"}
WIDTH, HEIGHT, LEFT, TOP, SPACE = 330, 260, 64, 66, 70


def measure():
    bench = ROOT / "build/release/bin/vesk-bench"
    return subprocess.run([bench, "--json", "isolation"], check=True, capture_output=True).stdout


def lines_of(rows):
    """{panel: {way: [(hosts, us)]}}"""
    lines = {panel: {way: [] for way in WAYS} for panel in PANELS}
    for row in rows:
        hosts, panel, reference = re.fullmatch(r"(\d+) hosts?, (.*), ([ab])", row["name"]).groups()
        other = {"a": "inside", "b": "bare"}[reference]
        lines[panel][other].append((int(hosts), row["reference"]["median"]))
        if reference == "a":
            lines[panel]["hosts"].append((int(hosts), row["ours"]["median"]))
    return lines


def step_below(most):
    """A round step of which `most` holds two to five."""
    return next(step for power in range(9) for step in (10**power, 2 * 10**power, 5 * 10**power)
                if most / step <= 5)


def draw_panel(x, title, lines):
    most_hosts = max(hosts for way in lines.values() for hosts, _ in way)
    most_us = max(us for way in lines.values() for _, us in way)

    def place(hosts, us):
        return f"{x + hosts / most_hosts * WIDTH:.1f},{TOP + HEIGHT - us / most_us * HEIGHT:.1f}"

    yield f'<text x="{x}" y="{TOP - 12}" font-weight="bold">{title}</text>'
    step = step_below(most_us)
    for us in range(0, int(most_us) + 1, step):
        y = TOP + HEIGHT - us / most_us * HEIGHT
        yield f'<path d="M{x} {y:.1f}h{WIDTH}" stroke="#ddd"/>'
        yield f'<text x="{x - 6}" y="{y + 4:.1f}" text-anchor="end">{us}</text>'
    for hosts, _ in lines["hosts"]:
        if hosts == 1 or hosts > 4:
            at = x + hosts / most_hosts * WIDTH
            yield f'<text x="{at:.1f}" y="{TOP + HEIGHT + 18}" text-anchor="middle">{hosts}</text>'
    for way, (_, colour) in WAYS.items():
        points = " ".join(place(*point) for point in lines[way])
        yield f'<polyline points="{points}" fill="none" stroke="{colour}" stroke-width="2"/>'


def main():
    rows = json.loads(Path(sys.argv[1]).read_text() if len(sys.argv) > 1 else measure())
    lines = lines_of(rows)
    models = re.findall(r"model name\s*: (.*)", Path("/proc/cpuinfo").read_text())
    machine = f"{models[0] if models else platform.machine()}, {os.cpu_count()} CPUs, Linux " \
        f"{platform.release().split('-')[0]}"
    whole_width = LEFT + 2 * WIDTH + SPACE + 20
    drawing = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {whole_width} {TOP + HEIGHT + 96}" '
        'font-family="sans-serif" font-size="12" fill="#222">',
        '<rect width="100%" height="100%" fill="#fff"/>',
        f'<text x="{LEFT}" y="24" font-size="13">Chains of one mda-lv2 ePiano with 8 notes, '
        f'128 frames at 48 kHz ({machine})</text>']
    for i, (panel, title) in enumerate(PANELS.items()):
        drawing += draw_panel(LEFT + i * (WIDTH + SPACE), title, lines[panel])
    drawing.append(f'<text x="{LEFT}" y="{TOP + HEIGHT + 40}">chains</text>')
    for i, (name, colour) in enumerate(WAYS.values()):
        x, y = LEFT + 60 + i * 210, TOP + HEIGHT + 66
        drawing.append(f'<path d="M{x} {y}h24" stroke="{colour}" stroke-width="3"/>'
                       f'<text x="{x + 30}" y="{y + 4}">{name}</text>')
    drawing.append("</svg>")
    (ROOT / "docs/images/isolation.svg").write_text("\n".join(drawing) + "\n")


main()
