"""Runs in forked children and several threads; progress, as a bar and as text."""

from __future__ import annotations

import multiprocessing
import os
import sys
import threading
import types
import warnings
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import numpy as np
import pytest
import ravo

BPM = "LINAC/BPM/001"


def exit_code_of_child(work: Callable[[], bool]) -> int:
    """Fork, and return 0 if the work returned True in the child."""
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", DeprecationWarning)  # of threads in the parent, which are the point
        child = os.fork()
    if child == 0:
        code = 2
        try:
            code = 0 if work() else 1
        finally:
            os._exit(code)
    return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


def test_a_forked_child_reads_what_its_parent_reads(folder: Path) -> None:
    run = ravo.open(folder, threads=2)
    expected, digest = run[BPM].numpy(), run.digest()
    bpm = run[BPM][50:60]

    def work() -> bool:
        same = np.array_equal(run[BPM].numpy(), expected) and np.array_equal(bpm.numpy(), expected[50:60])
        return same and run.digest() == digest and len(list(run.events())) == len(run.event)

    assert exit_code_of_child(work) == 0
    np.testing.assert_array_equal(run[BPM].numpy(), expected)  # the parent reads on


def test_a_fork_during_a_reading_in_another_thread_does_no_harm(folder: Path) -> None:
    run = ravo.open(folder, threads=2)
    expected = run["LINAC/RF/001"].numpy()
    goes_on, begun = threading.Event(), threading.Event()

    def read() -> None:
        while not goes_on.is_set():
            run["LINAC/RF/001"].numpy()
            begun.set()

    reader = threading.Thread(target=read)
    reader.start()
    begun.wait()
    try:
        codes = [exit_code_of_child(lambda: np.array_equal(run["LINAC/RF/001"].numpy(), expected)) for _ in range(5)]
    finally:
        goes_on.set()
        reader.join()
    assert codes == [0] * 5


def test_events_that_were_begun_end_in_a_forked_child(folder: Path) -> None:
    run = ravo.open(folder)
    events = run.events()
    next(events)

    def work() -> bool:
        try:
            next(events)
        except RuntimeError as error:
            return "forked" in str(error)
        return False

    assert exit_code_of_child(work) == 0
    assert len(list(events)) == len(run.event) - 1


def _mean_of(part: ravo.Partition) -> float:
    return float(np.mean(ravo.open(part)[BPM]["X"].numpy(), dtype=np.float64))


@pytest.mark.parametrize("how", ["fork", "spawn"])
def test_parts_go_to_other_processes(folder: Path, how: str, monkeypatch: pytest.MonkeyPatch) -> None:
    run = ravo.open(folder)
    parts = run.partitions(count=2)
    monkeypatch.setenv("PYTHONPATH", os.pathsep.join(sys.path))
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", DeprecationWarning)
        with multiprocessing.get_context(how).Pool(2) as pool:
            means = pool.map(_mean_of, parts)
    assert np.mean(means) == pytest.approx(np.mean(run[BPM]["X"].numpy(), dtype=np.float64), rel=1e-12)


def test_threads_share_a_run(folder: Path) -> None:
    run = ravo.open(folder, threads=2)
    labels = [label for label in run if run[label].dtype == np.float32]
    expected = {label: ravo.open(folder)[label].numpy() for label in labels}
    with ThreadPoolExecutor(4) as pool:
        for label, array in zip(labels * 3, pool.map(lambda label: run[label].numpy(), labels * 3), strict=True):
            np.testing.assert_array_equal(array, expected[label])
    assert run.ledger.is_balanced


# ---- progress


def test_progress_ends_with_all_bytes(folder: Path) -> None:
    run = ravo.open(folder)
    for read in (
        lambda report: run[BPM].numpy(progress=report),
        lambda report: run[BPM].statistics(progress=report),
        lambda report: run[BPM].envelope(10, progress=report),
        lambda report: run.digest(progress=report),
        lambda report: list(run.events(progress=report)),
    ):
        seen: list[tuple[int, int]] = []
        read(lambda done, total, seen=seen: seen.append((done, total)))  # type: ignore[misc]
        assert seen
        assert seen == sorted(seen)
        assert seen[-1][0] == seen[-1][1] > 0


def test_without_tqdm_progress_is_a_line_of_text(
    folder: Path, monkeypatch: pytest.MonkeyPatch, capsys: pytest.CaptureFixture[str]
) -> None:
    monkeypatch.setitem(sys.modules, "tqdm.auto", None)
    ravo.open(folder)[BPM].numpy(progress=True)
    line = capsys.readouterr().err
    assert line.endswith("100 %\n")
    assert line.startswith(f"\r{BPM}: ")


def test_with_tqdm_progress_is_its_bar(folder: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    bars: list[Bar] = []

    class Bar:
        """What is used of tqdm's bars."""

        def __init__(self, **options: object) -> None:
            self.options, self.n, self.total, self.is_closed = options, 0, 0, False
            bars.append(self)

        def __enter__(self) -> Bar:
            return self

        def __exit__(self, *_: object) -> None:
            self.is_closed = True

        def update(self, more: int) -> None:
            self.n += more

    fake = types.ModuleType("tqdm.auto")
    fake.tqdm = Bar  # type: ignore[attr-defined]
    monkeypatch.setitem(sys.modules, "tqdm", types.ModuleType("tqdm"))
    monkeypatch.setitem(sys.modules, "tqdm.auto", fake)
    run = ravo.open(folder)
    run[BPM].numpy(progress=True)
    list(run.events(progress=True))
    assert [bar.options["desc"] for bar in bars] == [BPM, "events"]
    for bar in bars:
        assert bar.n == bar.total > 0
        assert bar.is_closed
