"""Runs as xarray opens them: ``xarray.open_dataset(selection, engine="ravo")``, whose values are read when used."""

from __future__ import annotations

import math
import os
from collections.abc import Iterable, Mapping, Sequence
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np
import xarray as xr
from numpy.typing import NDArray
from xarray.backends import BackendArray, BackendEntrypoint
from xarray.core import indexing

from ravo import _aligned, _labels, _xarray
from ravo._channel import Channel, View
from ravo._core import Kind, Rows, Status
from ravo._errors import AccessError
from ravo._run import open as open_run
from ravo._sizes import bytes_of
from ravo._values import has_value

if TYPE_CHECKING:
    from ravo._run import Run

PREFERRED_CHUNK = "16 MB"

_UNREAD = 255


@dataclass(frozen=True)
class Form:
    """What channels of one make have in common."""

    row_dims: tuple[str, ...]
    row_shape: tuple[int, ...]
    dtype: np.dtype[Any]
    records: tuple[str, ...] | None  # of name-value lists
    coordinates: _labels.Coordinates

    @property
    def dims(self) -> tuple[str, ...]:
        """The dimensions: events, and those of a row."""
        return ("event", *self.row_dims)

    @property
    def status_dims(self) -> tuple[str, ...]:
        """The dimensions of the statuses: events, and the records of name-value lists."""
        return ("event",) if self.records is None else self.dims


class Source:
    """A channel at the events of a lazy dataset: reads parts of it, and keeps the statuses that it saw.

    Pickled, it is the run's selection, the name, the rows and the form.
    """

    def __init__(self, run: Run, label: str, rows: _aligned.EventRows, form: Form, fill: Any) -> None:
        """Make the source of a channel's values at these events of the run."""
        self.run, self.label, self.rows, self.form, self.fill = run, label, rows, form, fill
        self.shape = (len(rows), *form.row_shape)
        self._statuses: NDArray[np.uint8] | None = None

    def __reduce__(self) -> tuple[Any, ...]:
        """Pickle what it is made of."""
        return Source, (self.run, self.label, self.rows, self.form, self.fill)

    @cached_property
    def channel(self) -> Channel:
        """The channel at these events."""
        return Channel(self.run, self.label, View(self.rows, aligned=True))

    def values(self, key: tuple[Any, ...]) -> Any:
        """Return the values of a key for each dimension, taken one by one: integers, slices or positions."""
        if self.form.records is not None:
            return _outer(self._of_records(key[0])[0], (slice(None), key[1]), key[0])
        part, left = self.channel._with_rows(key[0]), []
        for dim, one in zip(self.form.dims[1:], key[1:], strict=True):
            cut, rest = _range_of(one)
            part = part._with_other(dim, cut)
            left.append(rest)
        values = part.read()
        self._keep(key[0], values.status)
        array = values.numpy(fill=self.fill)
        if self.form.dtype != array.dtype or (self.form.dtype != object and array.ndim != part.ndim):
            raise AccessError(
                f"Values of {self.label} differ in shape or type from the first one, which is {self.form.dtype} "
                f"{self.shape[1:]}: read them by .numpy(), .arrow() or .awkward() of the run's channel"
            )
        return _outer(array, (slice(None), *left), key[0])

    def status(self, key: tuple[Any, ...]) -> Any:
        """Return statuses; reads those of values that were not read yet."""
        if self.form.records is not None:
            return _outer(self._of_records(key[0])[1], (slice(None), key[1]), key[0])
        kept = self._kept[key[0]]
        if not np.any(kept == _UNREAD):
            return kept
        part = self.channel._with_rows(key[0])
        if "sample" in self.form.dims:
            part = part._with_other("sample", slice(0, 1))
        self._keep(key[0], part.read().status)
        return self._kept[key[0]]

    @property
    def _kept(self) -> NDArray[np.uint8]:
        if self._statuses is None:
            self._statuses = np.full(len(self.rows), _UNREAD, dtype=np.uint8)
        return self._statuses

    def _keep(self, rows: Any, statuses: NDArray[np.uint8]) -> None:
        self._kept[rows] = statuses

    def _of_records(self, rows: Any) -> tuple[NDArray[np.float32], NDArray[np.uint8]]:
        """Return numbers and statuses of all records, in the order of the names that the dataset has."""
        assert self.form.records is not None
        values = self.channel._with_rows(rows).read()
        numbers, statuses = values.records()
        own = values.column.record_names
        if unknown := set(own) - set(self.form.records):
            raise AccessError(
                f"Lists of {self.label} have the records {', '.join(sorted(unknown))}, which the first ones lack: "
                f"read them by run[{self.label!r}].xarray()"
            )
        shape = (*numbers.shape[:-1], len(self.form.records))
        placed = np.full(shape, np.nan if self.fill is None else self.fill, dtype=np.float32)
        row_status = np.asarray(values.status).copy()
        row_status[np.isin(row_status, (Status.OK.value, Status.HELD.value, Status.STALE.value))] = Status.NOT_RECORDED
        placed_status = np.repeat(row_status[..., np.newaxis], len(self.form.records), axis=-1)
        places = _places(own, self.form.records)
        has = has_value(statuses)
        placed[..., places] = np.where(has, numbers, placed[..., places])
        placed_status[..., places] = statuses
        return placed, placed_status


def _places(names: Sequence[str], among: Sequence[str]) -> list[int]:
    """Return where names are among others; the second of the same name is the second there."""
    left: dict[str, list[int]] = {}
    for place, name in enumerate(among):
        left.setdefault(name, []).append(place)
    places = []
    for name in names:
        if not left[name]:
            raise AccessError(f"A list has the record {name} more often than the first one")
        places.append(left[name].pop(0))
    return places


class Forms:
    """The forms of channels, each made once: thousands of channels have a few."""

    def __init__(self, run: Run) -> None:
        """Read what the channels of a run are."""
        self._run, self._described = run, run.describe()
        self._made: dict[Any, Form] = {}

    def of(self, label: str) -> Form:
        """Return the form of a channel."""
        details = self._described[label]
        key = (
            details.kind,
            details.dtype,
            tuple([(dimension.name, dimension.size) for dimension in details.dimensions]),
            tuple([(member.name, member.unit) for member in details.members]),
            details.axis,
            details.axis_label,
            details.axis_unit,
            any(change.part == "shape" for change in details.changes),
            label if details.kind == Kind.ROI else "",
        )
        form = self._made.get(key)
        return form or self._made.setdefault(key, _form(self._run[label]))


def _form(channel: Channel) -> Form:
    """Return dimensions, shape and type of a channel. Rows whose shapes differ are objects."""
    details = channel.details
    if details.kind == Kind.NAME_VALUE:
        labels = _labels.of_values(channel)
        return Form(("record",), (len(channel.members),), np.dtype(np.float32), channel.members, labels)
    sizes = {dimension.name: dimension.size for dimension in details.dimensions}
    differ = any(change.part == "shape" for change in details.changes)
    if details.kind == Kind.TEXT or "byte" in sizes or differ:
        return Form((), (), np.dtype(object), None, {})
    return Form(tuple(sizes), tuple(sizes.values()), np.dtype(details.dtype), None, _labels.of_values(channel))


def _range_of(key: Any) -> tuple[Any, Any]:
    """Return a slice or integer that holds a key, and the key within it; None where nothing is left to do."""
    if not isinstance(key, np.ndarray):
        return (int(key), None) if isinstance(key, (int, np.integer)) else (key, slice(None))
    if len(key) == 0:
        return slice(0, 0), slice(None)
    first = int(key.min())
    return slice(first, int(key.max()) + 1), key - first


def _outer(array: Any, keys: tuple[Any, ...], rows: Any) -> Any:
    """Return what keys take of an array, dimension by dimension. An integer of rows has dropped theirs."""
    left = [key for key in (keys[1:] if isinstance(rows, (int, np.integer)) else keys) if key is not None]
    for axis in reversed(range(len(left))):
        if not (isinstance(left[axis], slice) and left[axis] == slice(None)):
            array = array[(slice(None),) * axis + (left[axis],)]
    return array


class LazyArray(BackendArray):  # type: ignore[misc,unused-ignore]
    """Values or statuses of a source, of which xarray reads parts."""

    def __init__(self, source: Source, what: str) -> None:
        """Make the array of the "values" or of the "status" of a source."""
        self.source, self.what = source, what
        whole = what == "values"
        self.dtype = source.form.dtype if whole else np.dtype(np.uint8)
        self.shape = source.shape if whole else source.shape[: len(source.form.status_dims)]

    def __getitem__(self, key: indexing.ExplicitIndexer) -> Any:
        """Read a part."""
        read = self.source.values if self.what == "values" else self.source.status
        return indexing.explicit_indexing_adapter(key, self.shape, indexing.IndexingSupport.OUTER, read)


def lazy_dataset(run: Run, labels: Sequence[str], fill: Any = None, *, status: bool = True) -> xr.Dataset:
    """Return a dataset as ``run.xarray`` has it, whose values are read when they are used."""
    forms, rows = Forms(run), _aligned.events_of(run, labels)
    fills = fill if isinstance(fill, Mapping) else dict.fromkeys(labels, fill)
    ages, described = _ages(run, labels, rows), run.describe()
    made = {}
    for label in labels:
        form = forms.of(label)
        source = Source(run, label, rows, form, fills.get(label))
        made[label] = _xarray.Labelled(
            form.dims,
            indexing.LazilyIndexedArray(LazyArray(source, "values")),
            form.coordinates,
            form.status_dims,
            indexing.LazilyIndexedArray(LazyArray(source, "status")) if status else None,
            ages.get(label),
            _labels.attributes(described[label]),
        )
    opened = _xarray.assembled(run, made, rows)
    chunks = {"event": _events_of_chunk(opened, bytes_of(PREFERRED_CHUNK))}
    for variable in opened.variables.values():
        if variable.dims[:1] == ("event",):
            variable.encoding["preferred_chunks"] = chunks
    return opened


def _ages(run: Run, labels: Sequence[str], rows: _aligned.EventRows) -> dict[str, NDArray[np.timedelta64]]:
    """Return the ages of held values of slow channels, by the tables of the files."""
    slow = {channel.label for channel in run._dataset.channels if channel.is_slow}
    wanted = [label for label in labels if label in slow]
    made = {}
    for index in run._dataset.index(wanted, Rows.EVENTS) if wanted else []:
        if len(index.ages_us):
            key = slice(rows.start, rows.stop) if isinstance(rows, range) else rows
            made[index.channel] = index.ages_us[key].view("timedelta64[us]")
    return made


def _events_of_chunk(opened: xr.Dataset, size: int) -> int:
    """Return how many events have about so many bytes in the channel with the largest values."""
    largest = max(
        (variable.dtype.itemsize * math.prod(variable.shape[1:]) for variable in opened.variables.values()), default=1
    )
    return max(1, size // largest)


def chunked(run: Run, labels: Sequence[str], chunks: str | Mapping[str, int], *, fill: Any) -> xr.Dataset:
    """Return a lazy dataset as Dask arrays."""
    opened = lazy_dataset(run, labels, fill)
    size = chunks if isinstance(chunks, str) else PREFERRED_CHUNK
    wanted = {"event": _events_of_chunk(opened, bytes_of(size))}
    if not isinstance(chunks, str):
        wanted |= chunks
    return opened.chunk(wanted)


class RavoBackend(BackendEntrypoint):
    """Opens raw files as an xarray dataset, lazily: ``xarray.open_dataset(..., engine="ravo")``."""

    description = "Open raw files of an accelerator's data acquisition by a selection"

    def open_dataset(  # type: ignore[override,unused-ignore]
        self,
        filename_or_obj: Any,
        *,
        drop_variables: str | Iterable[str] | None = None,
        fill: Any = None,
        status: bool = True,
        threads: int = 0,
        memory_limit: int | str = "1 GiB",
    ) -> xr.Dataset:
        """Open a selection. Dictionaries and tables are read, and of each channel its first value.

        Parameters
        ----------
        filename_or_obj
            The text of a selection, ``"linac/main run=1207 chan=LINAC/BPM/*"``; the path of a raw file
            or of a folder of them, as a ``Path``; a list of these; or a `Run`.
        drop_variables
            Channels to leave out.
        fill
            What rows without a value hold, as `Run.xarray` takes it.
        status
            Whether there are variables ``NAME.status``: half of all, which thousands of channels can be
            opened without.
        threads, memory_limit
            As `ravo.open` takes them.

        Returns
        -------
        xarray.Dataset
            As `Run.xarray` has it, without digests. ``chunks={}`` cuts it by Dask into chunks of
            successive events, of at most 16 MB of the channel with the largest values.

        Raises
        ------
        SelectionError, FilesNotFound
            As `ravo.open`.
        MissingValues
            When integers are read of which some are missing, if ``fill`` is not given.

        Examples
        --------
        >>> import xarray
        >>> beam = xarray.open_dataset(f"linac/main chan=LINAC/BPM/* file={folder}", engine="ravo", chunks={})
        >>> beam["LINAC/BPM/001"].sel(member="X").mean("sample").compute().shape
        (200,)
        """
        from ravo._run import Run

        given = filename_or_obj
        run = given if isinstance(given, Run) else open_run(given, threads=threads, memory_limit=memory_limit)
        dropped = {drop_variables} if isinstance(drop_variables, str) else set(drop_variables or ())
        opened = lazy_dataset(run, [label for label in run if label not in dropped], fill, status=status)
        return opened.drop_vars(dropped & opened.variables.keys())

    def guess_can_open(self, filename_or_obj: Any) -> bool:
        """Return whether it is the path of a raw file by its suffix."""
        return isinstance(filename_or_obj, os.PathLike) and Path(filename_or_obj).suffix == ".raw"
