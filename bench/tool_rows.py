"""The guidance tool's end-to-end rows: a long simulated drive replayed from a
file, against gpsbabel converting the same drive from NMEA to GPX.

    python3 bench/tool_rows.py GUIDANCE [--smoke] [--latency PROGRAM]

The drive is "guidance simulate --passes 200" (675 910 sentences; 5 passes
with --smoke). Each program runs as a child of its own; the figures are its
elapsed time, its CPU time (user and system) and its peak resident memory,
from wait4(). The ratio is the tool's elapsed time over gpsbabel's, so the
goal of 0.5 means twice as fast. gpsbabel is checked to have turned the
drive into track points (it needs the dates of the RMC sentences).

With --latency, the live-latency program (bench/live_latency.cpp) is run on
the same drive and its line is added. Prints a Markdown table; exits 1 when
a program fails or its output is missing.
"""
import os
import re
import subprocess
import sys
import tempfile
import time

PASSES, SMOKE_PASSES = 200, 5
GOAL_SECONDS, GOAL_MB, GOAL_RATIO = 3.0, 64, 0.5


def measure(command, cwd):
    """(elapsed s, CPU s, peak MB) of one child; raises when it fails."""
    start = time.monotonic()
    with open(os.devnull, "wb") as sink:
        child = subprocess.Popen(command, cwd=cwd, stdout=sink, stderr=sink)
        _, status, usage = os.wait4(child.pid, 0)
    elapsed = time.monotonic() - start
    if os.waitstatus_to_exitcode(status) != 0:
        raise RuntimeError(f"{' '.join(command)} exited with {os.waitstatus_to_exitcode(status)}")
    return elapsed, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024.0


def main(argv):
    guidance = os.path.abspath(argv[1])
    smoke = "--smoke" in argv
    latency = argv[argv.index("--latency") + 1] if "--latency" in argv else None
    passes = SMOKE_PASSES if smoke else PASSES
    with tempfile.TemporaryDirectory(prefix="tool-rows-") as work:
        subprocess.run([guidance, "simulate", "--passes", str(passes), "--output", "drive.nmea"], cwd=work,
                       check=True, stderr=subprocess.DEVNULL)
        with open(os.path.join(work, "drive.nmea"), "rb") as drive:
            sentences = sum(1 for _ in drive)
        replay = measure([guidance, "replay", "--no-stick", "--output", "out", "drive.nmea"], work)
        reference = measure(["gpsbabel", "-i", "nmea", "-f", "drive.nmea", "-o", "gpx", "-F", "drive.gpx"], work)
        with open(os.path.join(work, "drive.gpx"), encoding="utf-8", errors="replace") as gpx:
            points = len(re.findall(r"<trkpt ", gpx.read()))
        if points == 0:
            raise RuntimeError("gpsbabel made no track points of the drive (no dates?)")
        latency_line = None
        if latency:
            # The rows above leave some 250 MB to be written back: drain it
            # first, so the live fixes' syncs wait for their own bytes only.
            os.sync()
            latency_line = subprocess.run([os.path.abspath(latency), "drive.nmea"] + (["--smoke"] if smoke else []),
                                          cwd=work, check=True, capture_output=True, text=True).stdout.strip()

    print(f"Tool, end to end: a drive of {sentences} sentences from a file")
    print()
    print("| Row | elapsed s | CPU s | peak MB | goal |")
    print("|---|---:|---:|---:|---|")
    ok = replay[0] <= GOAL_SECONDS and replay[1] <= GOAL_SECONDS and replay[2] <= GOAL_MB
    print(f"| guidance replay | {replay[0]:.2f} | {replay[1]:.2f} | {replay[2]:.1f} | "
          f"<= {GOAL_SECONDS:g} s, <= {GOAL_MB} MB: {'met' if ok else 'missed'} |")
    print(f"| gpsbabel nmea to gpx ({points} points) | {reference[0]:.2f} | {reference[1]:.2f} | "
          f"{reference[2]:.1f} | comparison |")
    ratio = replay[0] / reference[0]
    print(f"| ratio, elapsed | {ratio:.2f} | | | <= {GOAL_RATIO:g}: {'met' if ratio <= GOAL_RATIO else 'missed'} |")
    if latency_line:
        print()
        print(latency_line)
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv))
    except (RuntimeError, subprocess.CalledProcessError, OSError) as error:
        print(f"bench: FAILED tool rows: {error}")
        sys.exit(1)
