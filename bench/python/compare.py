"""Compares reading from Python with reading from C++, and prints a table in Markdown.

    python compare.py READING [--quick]      READING: the program ravo_bench_reading; --quick: a fifth of the events

Figures are CPU seconds of the process that reads, on one thread, the least of several alternating rounds: other programs
on the machine disturb these least. The files are new and removed at the end.
"""

from __future__ import annotations

import argparse
import subprocess
import sysconfig
import tempfile
import time
from collections.abc import Callable
from pathlib import Path

import ravo

MANY = 2000


def simulate(folder: Path, *words: str) -> Path:
    tool = Path(sysconfig.get_path("scripts")) / "ravo"
    subprocess.run([tool, "simulate", str(folder), *words], check=True, capture_output=True)
    return folder


def processor() -> str:
    lines = Path("/proc/cpuinfo").read_text().splitlines()
    name = next((line.partition(":")[2].strip() for line in lines if line.startswith("model name")), "unknown")
    family = next((line.partition(":")[2].strip() for line in lines if line.startswith("cpu family")), "unknown")
    return f"{name}, family {family}"


def cpu_seconds(work: Callable[[], object]) -> float:
    before = time.process_time()
    work()
    return time.process_time() - before


def in_cpp(reading: str, what: str, run: ravo.Run) -> float:
    done = subprocess.run([reading, what, "1", run.selection], check=True, capture_output=True, text=True)
    return float(done.stdout.split()[0])


def compare(
    reading: str, what: str, run: ravo.Run, in_python: Callable[[], object], rounds: int
) -> tuple[float, float]:
    """Return the least CPU seconds in Python and in C++, of rounds that alternate."""
    run.event  # noqa: B018  # the events are aligned before
    pairs = [(cpu_seconds(in_python), in_cpp(reading, what, run)) for _ in range(rounds)]
    return min(pair[0] for pair in pairs), min(pair[1] for pair in pairs)


def row(*cells: str) -> None:
    print("| " + " | ".join(cells) + " |", flush=True)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("reading", help="the program ravo_bench_reading")
    parser.add_argument("--quick", action="store_true", help="a fifth of the events, three rounds")
    asked = parser.parse_args()
    rounds, events = (3, "200") if asked.quick else (9, "1000")
    load = Path("/proc/loadavg").read_text().split()[0]
    print(f"ravo {ravo.__version__}, {processor()}, load {load} at the beginning; CPU seconds on one thread, the")
    print(f"least of {rounds} alternating rounds.\n")
    row("what", "Python", "C++", "")
    row("---", "---:", "---:", "---")
    with tempfile.TemporaryDirectory(prefix="ravo_bench_") as made:
        files = simulate(Path(made) / "files", "--events", events, "--channels", "100")
        waves = ravo.open(files, chan="LINAC/RF/*", threads=1)
        python, cpp = compare(
            asked.reading, "columns", waves, lambda: [channel.numpy() for channel in waves.values()], rounds
        )
        row(f"{len(waves)} columns of RF", f"{python:.3f}", f"{cpp:.3f}", f"{python / cpp:.2f} of C++")

        few = ravo.open(files, chan="LINAC/BPM/*", threads=1)
        python, cpp = compare(
            asked.reading,
            "events",
            few,
            lambda: [[event[label].value for label in few] for event in few.events()],
            rounds,
        )
        each = (python - cpp) / len(few.event)
        row(
            f"{len(few.event)} events, {len(few)} values of each as arrays",
            f"{python:.3f}",
            f"{cpp:.3f}",
            f"{each * 1e6:.1f} us an event more, {each / len(few) * 1e6:.2f} us a value",
        )

        many = simulate(Path(made) / "many", "--events", "20", "--files", "1", "--channels", str(MANY))
        opening = min(cpu_seconds(lambda: ravo.open(many)) for _ in range(rounds))
        row(f"open a file of {MANY} channels", f"{opening:.4f}", "", "")
        run = ravo.open(many)
        lazy = min(cpu_seconds(lambda: [run[label] for label in run]) for _ in range(rounds))
        row(f"`run[...]` of its {len(run)} channels", f"{lazy:.4f}", "", "nothing is read")


main()
