# SPDX-License-Identifier: MIT
"""What the benchmarks have measured: docs/performance.json, and how its rows are told apart."""
import datetime
import json
import os
import pathlib
import platform
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent
DEBIAN, OTHERS = "libjpeg-turbo 2", ("libavcodec", "DCMTK")


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def said(*command):
    return subprocess.run(command, capture_output=True, text=True, cwd=ROOT).stdout.strip()


def commit_now():
    return said("git", "describe", "--always", "--dirty", "--exclude", "*")


def machine(cpuid, load):
    flags = pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8")
    return {"processor": processor(), "processors": os.cpu_count(),
            "virtual": " hypervisor " in flags, "avx2": " avx2 " in flags,
            "compiler": "gcc " + said("gcc", "-dumpfullversion"), "cpuid": cpuid, "load": load,
            "commit": commit_now(),
            "date": datetime.date.today().isoformat()}


def rows(path, *fields):
    """Lines of words between bars, as dictionaries."""
    return [dict(zip(fields, line.split("|"))) for line in
            path.read_text(encoding="utf-8").splitlines()]


def collect(folder, load, data):
    """Takes over what is in the folder, and notes the commit for each part but the first."""
    commits = data.setdefault("commits", {})
    speeds = folder / "speeds.json"
    if speeds.exists():
        first, *lines = map(json.loads, speeds.read_text(encoding="utf-8").splitlines())
        data["machine"] = machine(first["cpuid"], load)
        data["speeds"] = lines
    for name in ("sizes", "many", "sse2"):
        path = folder / f"{name}.json"
        if path.exists():
            lines = path.read_text(encoding="utf-8").splitlines()
            data[name] = [json.loads(line) for line in lines[1:]]
            commits[name] = commit_now()
    for name, last in (("instructions", "count"), ("heap", "kib")):
        path = folder / f"{name}.txt"
        if path.exists():
            fields = ("name", "size", "codec") + (("pixels",) if name == "instructions" else ())
            data[name] = rows(path, *fields, last)
            commits[name] = commit_now()
    # Their counts are those of another run than the rest.
    for name in ("arm", "neon"):
        path = folder / f"{name}.txt"
        if path.exists():
            data[name] = rows(path, "target", "name", "size", "pixels", "ours", "theirs")
            commits[name] = commit_now()
    return data


# One row a line, so that a difference can be read.
def written(data):
    parts = []
    for key, value in data.items():
        if isinstance(value, list):
            lines = ",\n  ".join(json.dumps(row) for row in value)
            parts.append(f'"{key}": [\n  {lines}\n]')
        else:
            parts.append(f'"{key}": {json.dumps(value)}')
    return "{" + ",\n".join(parts) + "}\n"


# ---- Rows and their sides ----------------------------------------------------

def is_debian(codec):
    return codec.startswith(DEBIAN)


def is_other(codec):
    return codec.startswith(OTHERS)


def is_newest(codec):
    return codec.startswith("libjpeg-turbo") and not is_debian(codec)


def side(row, wanted):
    return next((s for s in row["sides"] if wanted(s["codec"])), None)


def names(data, *wanted):
    """The codecs' own names, as they were measured."""
    found = []
    for which in wanted:
        codecs = {s["codec"] for row in data["speeds"] for s in row["sides"] if which(s["codec"])}
        found.append(" or ".join(sorted(codecs)))
    return found


def is_small(row):
    return " x " in row["size"]


def is_sheet(row):
    return not is_small(row) and row["size"] != "1.0 MP"


def faster(row):
    """The ratio beside the faster one of the others."""
    return min(s["ratio"] for s in row["sides"][1:])
