# SPDX-License-Identifier: MIT
"""The drawings of docs/performance.md: ratios of the workloads, and speed by size of the picture."""
import math

from performance_rows import is_debian, is_newest, is_other, names, side

LEFT, WIDTH, ROW, TOP = 250, 860, 17, 58
LOW, HIGH = 0.3, 15.0
STYLE = """<style>text{font:12px sans-serif;fill:#222}.s{font-size:11px;fill:#666}
.g{stroke:#ddd}.one{stroke:#444}.a{fill:#1f77b4;stroke:#1f77b4}.b{fill:#d62728;stroke:#d62728}
.c{fill:#2ca02c;stroke:#2ca02c}line.a,line.b,line.c{stroke-width:2}</style>"""
MARKS = ((is_debian, "a", -3), (is_newest, "b", 0), (is_other, "c", 3))


def across(value):
    part = math.log(min(max(value, LOW), HIGH) / LOW) / math.log(HIGH / LOW)
    return LEFT + part * (WIDTH - LEFT - 20)


def grid(bottom):
    out = []
    for value in (0.3, 0.5, 0.75, 1, 1.25, 1.5, 2, 3, 5, 7, 10, 15):
        x = across(value)
        style = "one" if value == 1 else "g"
        out.append(f'<line x1="{x:.1f}" y1="{TOP - 8}" x2="{x:.1f}" y2="{bottom}" '
                   f'class="{style}"/>')
        out.append(f'<text x="{x:.1f}" y="{TOP - 13}" class="s" text-anchor="middle">'
                   f'{value:g}</text>')
    return out


def legend(data):
    out, x = [], LEFT
    for (which, style, _), name in zip(MARKS, names(data, *(m[0] for m in MARKS))):
        if not name:
            continue
        out.append(f'<circle cx="{x}" cy="17" r="4" class="{style}"/>')
        out.append(f'<text x="{x + 9}" y="21">{name}</text>')
        x += 30 + 7 * len(name)
    out.append('<text x="12" y="21">their time by ours; a line: all sizes</text>')
    return out


def mark(ratios, style, y):
    if not ratios:
        return []
    ends, middle = (across(min(ratios)), across(max(ratios))), sorted(ratios)[len(ratios) // 2]
    return [f'<line x1="{ends[0]:.1f}" y1="{y}" x2="{ends[1]:.1f}" y2="{y}" class="{style}"/>',
            f'<circle cx="{across(middle):.1f}" cy="{y}" r="3.5" class="{style}"/>']


def drawing(data):
    groups = {}
    for row in data["speeds"]:
        # Small ones differ by much from size to size.
        name = row["name"] + (", " + row["size"] if "small" in row["name"] else "")
        groups.setdefault(name, []).append(row)
    bottom = TOP + ROW * len(groups)
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{bottom + 10}" '
           f'viewBox="0 0 {WIDTH} {bottom + 10}">', STYLE,
           f'<rect width="{WIDTH}" height="{bottom + 10}" fill="#fff"/>', *legend(data),
           *grid(bottom)]
    for i, (name, each) in enumerate(groups.items()):
        y = TOP + ROW * i + ROW // 2
        out.append(f'<text x="12" y="{y + 4}">{name}</text>')
        for which, style, shift in MARKS:
            ratios = [s["ratio"] for row in each if (s := side(row, which))]
            out += mark(ratios, style, y + shift)
    return "\n".join(out + ["</svg>"]) + "\n"


# Speeds by size: logarithms of pixels to the right, megapixels a second upward.
PLOT = {"left": 60, "right": 20, "top": 46, "bottom": 44, "height": 300, "width": 420}


def side_of_square(row):
    return row["pixels"] / row["pictures"]


def plot(data, task, left):
    rows_ = [row for row in data["sizes"] if row["name"].startswith(task)]
    least, most = (math.log(f(map(side_of_square, rows_))) for f in (min, max))
    high = 100 * math.ceil(max(row["pixels"] / s["median"] / 1e8 for row in data["sizes"]
                               for s in row["sides"]))
    low, wide = PLOT["top"] + PLOT["height"], PLOT["width"] - PLOT["left"] - PLOT["right"]

    def place(pixels, value):
        x = left + PLOT["left"] + wide * (math.log(pixels) - least) / (most - least)
        return x, low - PLOT["height"] * value / high

    start, end = left + PLOT["left"], left + PLOT["width"] - PLOT["right"]
    out = [f'<text x="{start}" y="{PLOT["top"] - 8}">{task.strip()}, MP/s</text>']
    for value in range(0, high + 1, 100):
        y = place(1, value)[1]
        out.append(f'<line x1="{start}" y1="{y:.1f}" x2="{end}" y2="{y:.1f}" class="g"/>')
        out.append(f'<text x="{start - 6}" y="{y + 4:.1f}" class="s" text-anchor="end">{value}</text>')
    for i, row in enumerate(rows_):
        x = place(side_of_square(row), 0)[0]
        size = row["size"].replace(" x ", "\u00d7")
        out.append(f'<text x="{x:.1f}" y="{low + 16 + 14 * (i % 2)}" class="s" '
                   f'text-anchor="middle">{size}</text>')
    for which, style, _ in ((lambda codec: codec == "ours", "o", 0), *MARKS[:2]):
        points = [(side_of_square(row), row["pixels"] / s["median"] / 1e6) for row in rows_
                  if (s := side(row, which))]
        places = [place(*point) for point in points]
        line = " ".join(f"{x:.1f},{y:.1f}" for x, y in places)
        out.append(f'<polyline points="{line}" class="l{style}"/>')
        out += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" class="{style}"/>' for x, y in places]
    return out


def sizes_drawing(data):
    width, height = 2 * PLOT["width"], PLOT["top"] + PLOT["height"] + PLOT["bottom"]
    style = STYLE.replace("</style>", ".o{fill:#222;stroke:#222}polyline{fill:none;stroke-width:2}"
                          ".lo{stroke:#222}.la{stroke:#1f77b4}.lb{stroke:#d62728}</style>")
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
           f'viewBox="0 0 {width} {height}">', style,
           f'<rect width="{width}" height="{height}" fill="#fff"/>']
    x = PLOT["left"]
    for name, mark_style in zip(["ours", *names(data, *(m[0] for m in MARKS[:2]))], "oab"):
        out.append(f'<circle cx="{x}" cy="14" r="4" class="{mark_style}"/>')
        out.append(f'<text x="{x + 9}" y="18">{name}</text>')
        x += 40 + 7 * len(name)
    out += plot(data, "decode ", 0) + plot(data, "encode ", PLOT["width"])
    return "\n".join(out + ["</svg>"]) + "\n"
