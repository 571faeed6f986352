"""Turns a Google Benchmark JSON report into the comparison table.

Benchmarks come in pairs named "<row>/lib" (this library) and "<row>/ref"
(the comparison), optionally followed by "/<argument>"; the ratio is the
library's time over the comparison's, so lower is better and 1.0 is parity.
"""
import json
import sys

# Goal per row prefix: the largest acceptable ratio.
GOALS = [
    ("CRC32", 1.0), ("ReadBlock", 2.0), ("WriteBlock", 1.2), ("Nmea", 3.0),
    ("XML", 3.0), ("Offset", 3.0), ("DistanceToNearest", 2.0), ("Random", 1.0),
    ("Base64", 3.0), ("KML", 1.5), ("WorkerThread", 2.0),
]


def goal_for(row):
    for prefix, goal in GOALS:
        if row.startswith(prefix):
            return goal
    return None


def split(name):
    parts = name.split("/")
    for side in ("lib", "ref"):
        if side in parts:
            i = parts.index(side)
            return "/".join(parts[:i] + parts[i + 1:]), side
    return None, None


def fmt(ns):
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if ns >= scale:
            return f"{ns / scale:.3g} {unit}"
    return f"{ns:.3g} ns"


def main():
    args = sys.argv[1:]
    smoke = "--smoke" in args
    report = json.load(open([a for a in args if not a.startswith("--")][0]))
    rows = {}
    for b in report["benchmarks"]:
        if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "mean":
            continue
        row, side = split(b["run_name"] if "run_name" in b else b["name"])
        if row is None:
            continue
        scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[b.get("time_unit", "ns")]
        rows.setdefault(row, {})[side] = b["real_time"] * scale
    if smoke:
        print(f"bench: {len(rows)} passed, 0 failed")
        return 0
    print("| Row | Library | Comparison | Ratio | Goal | Met |")
    print("|---|---|---|---|---|---|")
    for row, sides in rows.items():
        lib, ref = sides.get("lib"), sides.get("ref")
        goal = goal_for(row)
        ratio = lib / ref if lib and ref else None
        met = "" if ratio is None or goal is None else ("yes" if ratio <= goal else "NO")
        print(f"| {row} | {fmt(lib) if lib else '-'} | {fmt(ref) if ref else '-'} | "
              f"{f'{ratio:.2f}' if ratio else '-'} | {f'<= {goal:g}' if goal else ''} | {met} |")
    return 0


if __name__ == "__main__":
    sys.exit(main())
