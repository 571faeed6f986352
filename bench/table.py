"""Turns a Google Benchmark JSON report into the comparison table.

Benchmarks come in pairs named "<row>/lib" (this library) and "<row>/ref"
(the comparison), optionally followed by "/<argument>"; the ratio is the
library's time over the comparison's, so lower is better and 1.0 is parity.

Rows whose argument is a size (a number) also get a scaling line where a
SCALING goal names them: the library's time per unit of size at the largest
size over that at the smallest, so 1.0 is linear growth.

Times are CPU times (user and system), which a busy machine disturbs far
less than elapsed times: of the benchmark's thread, or of the whole process
for benchmarks registered with MeasureProcessCPUTime() (names ending in
"/process_time"). Benchmarks registered with UseRealTime() (names ending in
"/real_time") report elapsed time, for rows whose cost is waiting (a flush
to the medium).

Rows whose two benchmarks alternate both sides (they report the counters
"median_ns" for their own side and "other_median_ns" for the other) are
represented by medians pooled over both benchmarks: each side's figure is
the mean of its median in its own benchmark and in the other one, so both
sides are measured in the same time slots.

With --instructions, it instead turns the callgrind dumps of the counting
program (bench/instructions.cpp) into a table of instructions per item.

A benchmark that reported an error (its two sides disagreed, or it could not
run) fails the smoke run and shows as an error in the table.
"""
import json
import sys

# Goal per row prefix: the largest acceptable ratio.
GOALS = [
    ("CRC32", 1.0), ("ReadBlockVsRead", None), ("ReadBlock", 1.3), ("WriteBlock", 1.2), ("Nmea", 1.2),
    ("XML", 3.0), ("OffsetConstruction/100000", 1.0), ("OffsetVsRead", None), ("Offset", 3.0), ("DistanceToNearest", 2.0), ("Random", 1.0),
    ("Base64", 1.1), ("KML", 1.5), ("WorkerThread", 1.2),
]

# Goal per row prefix for the growth of the library's time per unit of size.
SCALING = [("OffsetConstruction", 2.0), ("OffsetVsRead", None), ("Offset", 3.0)]


def goal_for(row, goals):
    for prefix, goal in goals:
        if row.startswith(prefix):
            return goal
    return None


def split(name):
    """(row, side) of a benchmark name; the time-measure suffix is dropped."""
    parts = [p for p in name.split("/") if p not in ("real_time", "process_time")]
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


def load(path):
    """{row: {side: nanoseconds or an error text}} in report order."""
    report = json.load(open(path))
    rows = {}
    others = {}  # {row: {side: the other side's median in that side's benchmark}}
    for b in report["benchmarks"]:
        if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "mean":
            continue
        name = b.get("run_name", b["name"])
        row, side = split(name)
        if row is None:
            continue
        if b.get("error_occurred"):
            rows.setdefault(row, {})[side] = "error: " + b.get("error_message", "")
            continue
        scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[b.get("time_unit", "ns")]
        if "median_ns" in b and "other_median_ns" in b:
            rows.setdefault(row, {})[side] = float(b["median_ns"])
            others.setdefault(row, {})[side] = float(b["other_median_ns"])
            continue
        measure = "real_time" if name.endswith("/real_time") else "cpu_time"
        rows.setdefault(row, {})[side] = b[measure] * scale
    for row, other in others.items():
        sides = rows[row]
        if isinstance(sides.get("lib"), float) and isinstance(sides.get("ref"), float) and len(other) == 2:
            sides["lib"], sides["ref"] = ((sides["lib"] + other["ref"]) / 2, (sides["ref"] + other["lib"]) / 2)
    return rows


def smoke_summary(rows):
    """One line per failing row, then the counts of passing and failing rows."""
    failed = 0
    for row, sides in rows.items():
        problems = [f"no {side} benchmark" if sides.get(side) is None else f"{side}: {sides[side]}"
                    for side in ("lib", "ref") if not isinstance(sides.get(side), float)]
        if problems:
            failed += 1
            print(f"bench: FAILED {row}: {'; '.join(problems)}")
    print(f"bench: {len(rows) - failed} passed, {failed} failed")
    return 1 if failed else 0


def comparison_table(rows):
    print("| Row | Library | Comparison | Ratio | Goal | Met |")
    print("|---|---|---|---|---|---|")
    for row, sides in rows.items():
        lib, ref = sides.get("lib"), sides.get("ref")
        goal = goal_for(row, GOALS)
        if isinstance(lib, str) or isinstance(ref, str):
            print(f"| {row} | {lib if isinstance(lib, str) else '-'} | {ref if isinstance(ref, str) else '-'} "
                  f"| - | | NO |")
            continue
        ratio = lib / ref if lib and ref else None
        met = "" if ratio is None or goal is None else ("yes" if ratio <= goal else "NO")
        print(f"| {row} | {fmt(lib) if lib else '-'} | {fmt(ref) if ref else '-'} | "
              f"{f'{ratio:.2f}' if ratio else '-'} | {f'<= {goal:g}' if goal else ''} | {met} |")


def scaling_table(rows):
    families = {}
    for row, sides in rows.items():
        head, _, size = row.rpartition("/")
        lib = sides.get("lib")
        if size.isdigit() and goal_for(head, SCALING) is not None and isinstance(lib, float):
            families.setdefault(head, []).append((int(size), lib))
    if not families:
        return
    print()
    print("| Library time per point | Smallest | Largest | Growth | Goal | Met |")
    print("|---|---|---|---|---|---|")
    for head, sizes in families.items():
        (small, t_small), (large, t_large) = min(sizes), max(sizes)
        growth = (t_large / large) / (t_small / small)
        goal = goal_for(head, SCALING)
        print(f"| {head} | {fmt(t_small / small)} at {small} | {fmt(t_large / large)} at {large} | "
              f"{growth:.2f} | <= {goal:g} | {'yes' if growth <= goal else 'NO'} |")


def instruction_table(counts_path, dumps):
    """Instructions per item from callgrind dumps: the counting program
    prints "<row>\t<repetitions>" and dumps each row's counts under its name."""
    repetitions = {}
    for line in open(counts_path):
        row, _, count = line.rstrip("\n").rpartition("\t")
        repetitions[row] = int(count)
    totals = {}
    for dump in dumps:
        row = total = None
        for line in open(dump, errors="replace"):
            if line.startswith("desc: Trigger: Client Request: "):
                row = line.split(": ", 3)[3].strip()
            elif line.startswith("totals: "):
                total = int(line.split()[1])
        if row in repetitions and total is not None:
            totals[row] = total
    print("| Operation | Instructions per item | Items counted |")
    print("|---|---|---|")
    for row, count in repetitions.items():
        total = totals.get(row)
        figure = f"{total / count:,.0f}" if total is not None else "no count"
        print(f"| {row} | {figure} | {count} |")
    return 0 if len(totals) == len(repetitions) else 1


def main():
    args = sys.argv[1:]
    if args and args[0] == "--instructions":
        return instruction_table(args[1], args[2:])
    rows = load([a for a in args if not a.startswith("--")][0])
    if "--smoke" in args:
        return smoke_summary(rows)
    comparison_table(rows)
    scaling_table(rows)
    return 0


if __name__ == "__main__":
    sys.exit(main())
