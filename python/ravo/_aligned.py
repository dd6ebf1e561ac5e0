"""Several channels at the same events."""

from __future__ import annotations

from collections.abc import Sequence
from typing import TYPE_CHECKING, TypeAlias

import numpy as np
from numpy.typing import NDArray

from ravo._core import Column, IndexStatus, Part, Rows
from ravo._progress import Progress, reporting

if TYPE_CHECKING:
    from ravo._run import Run

EventRows: TypeAlias = "range | NDArray[np.intp]"

_STATUSES_AT_ONCE = 1 << 28


def events_of(run: Run, labels: Sequence[str]) -> EventRows:
    """Return the positions of the run's events that one of the channels was recorded at.

    Values that slow channels hold do not count, unless all of the channels are slow. Reads no values.
    """
    slow = {channel.label for channel in run._dataset.channels if channel.is_slow}
    counting = [label for label in labels if label not in slow] or list(labels)
    count = len(run.event)
    recorded = np.zeros(count, dtype=bool)
    at_once = max(1, _STATUSES_AT_ONCE // max(1, count))
    for first in range(0, len(counting), at_once):
        for index in run._dataset.index(counting[first : first + at_once], Rows.EVENTS):
            recorded |= index.status != IndexStatus.NOT_RECORDED.value
    rows = np.flatnonzero(recorded)
    if len(rows) and rows[-1] - rows[0] + 1 == len(rows):
        return range(int(rows[0]), int(rows[-1]) + 1)
    return rows if len(rows) else range(0)


def read(run: Run, labels: Sequence[str], rows: EventRows, *, digest: bool, progress: Progress) -> list[Column]:
    """Read channels at these events, in one pass over the files."""
    part = Part()
    part.rows, part.with_digest = Rows.EVENTS, digest
    if isinstance(rows, range):
        part.first, part.count = (rows[0] if rows else 0), len(rows)
    else:
        part.row_list = rows.tolist()
    with reporting(progress, f"{len(labels)} channels") as report:
        return run._dataset.columns(list(labels), part, report)
