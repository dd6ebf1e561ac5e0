"""What the channels of a run are, found out once."""

from __future__ import annotations

from functools import cached_property

from ravo._core import Dataset, Description, Kind

EARLIEST = 4
"""As many files are read for the facts of all channels: enough for most, however long the run is."""


class Facts:
    """The descriptions of a dataset's channels, by one walk over the earliest files.

    Kind, shape, type, members and axis are those of the first value that can be read. Unit and texts are
    what the earliest files say; only `in_full` reads all of them.
    """

    def __init__(self, dataset: Dataset) -> None:
        """Describe nothing yet."""
        self._dataset = dataset
        self._full: dict[str, Description] = {}

    def of(self, label: str) -> Description:
        """Return a channel's kind, dimensions, members, axis, unit; the first call describes all channels."""
        facts = self._earliest[label]
        return self.in_full(label) if facts.kind == Kind.NONE and self._entries[label] else facts

    def in_full(self, label: str) -> Description:
        """Return the description by all files, with what changes from file to file."""
        if self._is_short:
            return self._earliest[label]
        if label not in self._full:
            self._full[label] = self._dataset.describe(label)[0]
        return self._full[label]

    def all_in_full(self) -> dict[str, Description]:
        """Return the descriptions of all channels, by one walk over all files."""
        if self._is_short:
            return dict(self._earliest)
        self._full = {one.label: one for one in self._dataset.describe()}
        return dict(self._full)

    @cached_property
    def _is_short(self) -> bool:
        return len(self._dataset.files) <= EARLIEST

    @cached_property
    def _earliest(self) -> dict[str, Description]:
        return {one.label: one for one in self._dataset.describe(None, EARLIEST)}

    @cached_property
    def _entries(self) -> dict[str, int]:
        return {one.label: one.entries for one in self._dataset.channels}
