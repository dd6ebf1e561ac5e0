"""Threads, forks, Ctrl-C and memory over many readings."""

from __future__ import annotations

import multiprocessing
import os
import signal
import subprocess
import sys
import threading
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import numpy as np
import ravo

LABEL = "LINAC/BPM/001"


def test_threads_read_one_run_at_the_same_time(folder: Path) -> None:
    run = ravo.open(folder, chan="LINAC/BPM/*")
    expected = {label: run[label].numpy() for label in run}
    meet = threading.Barrier(4)

    def read(which: int) -> None:
        meet.wait()
        for label in list(run)[which::2] * 3:
            np.testing.assert_array_equal(run[label].numpy(), expected[label])

    with ThreadPoolExecutor(4) as pool:
        for done in [pool.submit(read, thread % 2) for thread in range(4)]:
            done.result()


def test_python_goes_on_while_a_thread_reads(folder: Path) -> None:
    run = ravo.open(folder)
    seen = threading.Event()

    def progress(*_: int) -> None:
        seen.set()

    reader = threading.Thread(target=run.digest, kwargs={"progress": progress})
    reader.start()
    assert seen.wait(60)
    reader.join(60)
    assert not reader.is_alive()


def _sum_in_child(run: ravo.Run, answers: multiprocessing.Queue[float]) -> None:
    answers.put(float(run[LABEL].numpy().sum()))


def test_a_forked_child_reads_on(folder: Path) -> None:
    run = ravo.open(folder, chan=LABEL)
    expected = float(run[LABEL].numpy().sum())  # the workers are there before the fork
    context = multiprocessing.get_context("fork")
    answers: multiprocessing.Queue[float] = context.Queue()
    child = context.Process(target=_sum_in_child, args=(run, answers))
    child.start()
    assert answers.get(timeout=60) == expected
    child.join(60)
    assert child.exitcode == 0
    assert float(run[LABEL].numpy().sum()) == expected


def test_a_spawned_child_gets_the_run_by_its_pickle(folder: Path) -> None:
    run = ravo.open(folder, chan=LABEL)
    context = multiprocessing.get_context("spawn")
    answers: multiprocessing.Queue[float] = context.Queue()
    child = context.Process(target=_sum_in_child, args=(run, answers))
    child.start()
    assert answers.get(timeout=120) == float(run[LABEL].numpy().sum())
    child.join(60)


# Reads until it is interrupted; then it reads a channel whole, and says so.
INTERRUPTED = """
import pathlib, signal, sys
import ravo

signal.signal(signal.SIGINT, signal.default_int_handler)
run = ravo.open(pathlib.Path(sys.argv[1]))
said = False


def progress(done, total):
    global said
    if not said:
        print("reading", flush=True)
        said = True


try:
    while True:
        run.digest(progress=progress)
except KeyboardInterrupt:
    shape = run["LINAC/BPM/001"].numpy().shape
    print("interrupted", len(shape), run.ledger.is_balanced, flush=True)
"""


def test_ctrl_c_ends_a_reading_and_the_run_reads_on(folder: Path) -> None:
    child = subprocess.Popen(
        [sys.executable, "-I", "-c", INTERRUPTED, str(folder)],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
    )
    assert child.stdout is not None
    assert child.stdout.readline() == "reading\n"
    child.send_signal(signal.SIGINT)
    printed, errors = child.communicate(timeout=120)
    assert (child.returncode, errors) == (0, "")
    assert printed == "interrupted 3 True\n"


def resident_bytes() -> int:
    pages = int(Path("/proc/self/statm").read_text().split()[1])
    return pages * os.sysconf("SC_PAGE_SIZE")


def test_memory_stays_flat_over_many_readings(folder: Path) -> None:
    def rounds(count: int) -> None:
        for _ in range(count):
            run = ravo.open(folder, chan=LABEL, threads=1)
            assert run[LABEL][:50].numpy().shape == (50, 3, 64)

    rounds(100)  # pools and caches are filled
    before = resident_bytes()
    rounds(int(os.environ.get("RAVO_PYTHON_ROUNDS", "300")))
    assert resident_bytes() - before < 4 * 2**20


def test_open_files_stay_few_over_many_readings(folder: Path) -> None:
    def open_files() -> int:
        return len(list(Path("/proc/self/fd").iterdir()))

    before = open_files()
    for _ in range(50):
        ravo.open(folder, chan=LABEL)[LABEL].numpy()
    assert open_files() <= before
