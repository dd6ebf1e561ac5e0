"""Progress of readings: tqdm where it is installed, else a line of text."""

from __future__ import annotations

import sys
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from typing import TypeAlias

ProgressCallback: TypeAlias = Callable[[int, int], object]
Progress: TypeAlias = "bool | ProgressCallback | None"


@contextmanager
def reporting(progress: Progress, what: str, unit: str = "B") -> Iterator[ProgressCallback | None]:
    """Make the function of done and total bytes that ``progress=`` asks for, and close it at the end.

    ``True`` shows a bar on standard error; a function is called as it is, on the thread that reads.
    """
    if callable(progress):
        yield progress
        return
    if not progress:
        yield None
        return
    try:
        from tqdm.auto import tqdm
    except ImportError:
        yield _TextBar(what)
        print(file=sys.stderr)
        return
    with tqdm(desc=what, unit=unit, unit_scale=True, unit_divisor=1024 if unit == "B" else 1000) as bar:

        def report(done: int, total: int) -> None:
            bar.total = total
            bar.update(done - bar.n)

        yield report


class _TextBar:
    """Rewrites one line whenever the percentage changes."""

    def __init__(self, what: str) -> None:
        self._what = what
        self._shown = -1

    def __call__(self, done: int, total: int) -> None:
        percent = 100 if total == 0 else 100 * done // total
        if percent != self._shown:
            print(f"\r{self._what}: {percent} %", end="", file=sys.stderr, flush=True)
            self._shown = percent
