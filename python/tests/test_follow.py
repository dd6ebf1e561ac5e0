"""Following: the events of files that are still being written."""

from __future__ import annotations

import signal
import threading
from pathlib import Path

import numpy as np
import pytest
import ravo

START = 1740816000


@pytest.fixture(autouse=True)
def _closed_at_once(monkeypatch: pytest.MonkeyPatch) -> None:
    """Take files as closed that were written a moment ago."""
    monkeypatch.setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1")


@pytest.mark.parametrize("generation", ["current", "older"])
def test_what_is_followed_equals_what_is_read_afterwards(tmp_path: Path, generation: str) -> None:
    ravo.simulate(tmp_path, files=3, events=20, generation=generation)  # type: ignore[arg-type]
    words = {"chan": ["LINAC/BPM/001", "LINAC/MAGNET/001", "LINAC/STATUS/001"], "slow": "hold"}
    following = ravo.follow(tmp_path, end_after=0, **words)
    followed = list(following)
    run = ravo.open(tmp_path, **words)  # type: ignore[arg-type]
    afterwards = list(run.events())
    assert [event.number for event in followed] == [event.number for event in afterwards]
    for one, other in zip(followed, afterwards, strict=True):
        assert (one.time, one.is_late) == (other.time, False)
        for label in run:
            assert one[label].status == other[label].status
            np.testing.assert_array_equal(one[label].value, other[label].value)
    assert following.ended == "time is up"
    assert following.ledger.is_balanced
    assert following.late_files == []
    assert following.watermark is not None
    assert next(following, None) is None


def write(folder: Path, number: int) -> None:
    """Write a file of one event."""
    with ravo.Writer(folder, first_file=number) as writer:
        writer.add(number, START + number, {"A": float(number)})


def test_a_file_that_comes_later_is_handed_over(tmp_path: Path) -> None:
    write(tmp_path, 1)
    write(tmp_path, 2)  # an event is handed over when a later one says that nothing earlier is to come
    following = ravo.follow(tmp_path, poll=0.01, limit=3)
    assert following.ended is None
    seen = []
    for event in following:
        seen.append((event.number, event["A"].value, event.labels))
        write(tmp_path, event.number + 2)
    assert seen == [(1, 1.0, ["A"]), (2, 2.0, ["A"]), (3, 3.0, ["A"])]
    assert following.ended == "limit reached"


def test_ctrl_c_ends_a_wait(tmp_path: Path) -> None:
    following = ravo.follow(tmp_path, poll=0.01)
    begun = threading.Event()

    def interrupt() -> None:
        begun.wait()
        signal.pthread_kill(threading.main_thread().ident or 0, signal.SIGINT)

    threading.Thread(target=interrupt, daemon=True).start()
    begun.set()
    with pytest.raises(KeyboardInterrupt):
        next(following)
    assert following.ended == "stopped"
    assert list(following) == []


def test_two_threads_cannot_wait_at_once(tmp_path: Path) -> None:
    following = ravo.follow(tmp_path, poll=0.01, limit=1)
    numbers: list[int] = []
    other = threading.Thread(target=lambda: numbers.extend(event.number for event in following), daemon=True)
    other.start()

    def ask_until_refused() -> None:
        while True:
            _ = following.ended

    with pytest.raises(RuntimeError, match="Another thread waits for the next event"):
        ask_until_refused()
    write(tmp_path, 1)
    write(tmp_path, 2)
    other.join()
    assert numbers == [1]


def test_what_cannot_be_followed_is_refused(tmp_path: Path) -> None:
    with pytest.raises(ravo.SelectionError, match="nearest"):
        ravo.follow(tmp_path, slow="nearest")
    with pytest.raises(ravo.SelectionError):
        ravo.follow("linac/main colour=red")
