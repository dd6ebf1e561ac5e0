"""Successive events of a run, read together."""

from __future__ import annotations

from collections.abc import Iterator, Mapping

import numpy as np
from numpy.typing import NDArray

from ravo._core import Column, Table
from ravo._times import as_datetimes
from ravo._values import Values


class Batch(Mapping[str, Values]):
    """The values of several channels at the same events: row i of each is of the same event.

    Libraries that take Arrow streams take a batch as a table.
    """

    def __init__(self, columns: list[Column]) -> None:
        """Make a batch of columns with one row for each event; use ``run.batches``."""
        self._columns = {column.channel: column for column in columns}

    @property
    def event(self) -> NDArray[np.uint32]:
        """The event numbers."""
        return next(iter(self._columns.values())).numbers

    @property
    def time(self) -> NDArray[np.datetime64]:
        """The times of the events, ``datetime64[us]`` in UTC."""
        return as_datetimes(next(iter(self._columns.values())).times_us)

    def __getitem__(self, label: str) -> Values:
        """Return the values of a channel."""
        return Values(self._columns[label])

    def __iter__(self) -> Iterator[str]:
        """Yield the labels of the channels."""
        return iter(self._columns)

    def __len__(self) -> int:
        """Return the number of channels."""
        return len(self._columns)

    def __arrow_c_stream__(self, requested_schema: object | None = None) -> object:
        """Return event numbers, times, values and statuses as an Arrow stream."""
        return Table(list(self._columns.values())).__arrow_c_stream__(requested_schema)
