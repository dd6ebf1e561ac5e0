"""A channel of a run: what it is, and its values, which are read when they are asked for."""

from __future__ import annotations

from collections.abc import Iterator, Mapping, Sequence
from dataclasses import dataclass, replace
from functools import cached_property
from typing import TYPE_CHECKING, Any, Literal, TypeAlias

import numpy as np
from numpy.typing import NDArray

from ravo._core import (
    BinAxis,
    ChannelIndex,
    Description,
    Envelope,
    Histogram,
    Kind,
    Part,
    Rows,
    Statistics,
    join_or,
    near_names,
)
from ravo._errors import AccessError, ChannelNotFound, SelectionError
from ravo._optional import require
from ravo._progress import Progress, reporting
from ravo._times import TimeLike, as_datetimes
from ravo._values import Key, Values, is_all

if TYPE_CHECKING:
    import awkward as ak
    import pandas as pd
    import pyarrow as pa
    import xarray as xr
    from matplotlib.axes import Axes

    from ravo._run import Run

Indexer: TypeAlias = "int | np.integer[Any] | slice | Sequence[int] | NDArray[Any] | range"
Positions: TypeAlias = "range | NDArray[np.intp]"


@dataclass(frozen=True)
class Axis:
    """The axis of the samples of a spectrum.

    Attributes
    ----------
    label, unit
        As the files describe them; empty where they say nothing.
    start, increment
        The coordinate of the first sample, and the distance of neighbours.
    size
        How many samples there are.
    """

    label: str
    unit: str
    start: float
    increment: float
    size: int

    @property
    def values(self) -> NDArray[np.float64]:
        """The coordinate of each sample, float64."""
        return self.start + self.increment * np.arange(self.size, dtype=np.float64)


@dataclass(frozen=True)
class View:
    """Which part of a channel is wanted: a key for rows, and one for each dimension of a row."""

    rows: int | range | NDArray[np.intp] | None = None  # None: all
    others: tuple[int | range, ...] | None = None  # None: all
    record: str | None = None
    profile: int | None = None  # of regions of interest: one of the two
    aligned: bool = False  # a row for each event of the run


class Channel:
    """A channel of a run. Nothing is read before values are asked for.

    Indexing makes a channel of fewer rows, members or samples, as NumPy's indexing does; `numpy`,
    `masked`, `status` and ``numpy.asarray`` read it.

    Examples
    --------
    >>> bpm = run["LINAC/BPM/001"]
    >>> bpm.dims, bpm.shape, bpm.dtype
    (('event', 'member', 'sample'), (200, 3, 64), dtype('float32'))
    >>> bpm[100:200]["CHARGE"][:, 10:20].numpy().shape
    (100, 10)
    """

    def __init__(self, run: Run, label: str, view: View | None = None) -> None:
        """Make a channel of a run; use ``run[label]``."""
        self._run = run
        self._label = label
        self._view = view or View()

    # ---- what it is

    @property
    def label(self) -> str:
        """The name of the channel in the run: "NAME" or "NAME:member"."""
        return self._label

    @property
    def run(self) -> Run:
        """The run that the channel is of."""
        return self._run

    @cached_property
    def details(self) -> Description:
        """What the earliest files say of the channel, whatever part of it this is."""
        return self._run._facts.of(self._label)

    def describe(self) -> Description:
        """Return what all files say of the channel, and what changes from file to file."""
        return self._run._facts.in_full(self._label)

    @property
    def kind(self) -> Kind:
        """What kind of data the values are. A profile of a region of interest is a spectrum."""
        return self.details.kind if self._view.profile is None else Kind.SPECTRUM

    @property
    def description(self) -> str:
        """The channel in words, as the earliest files describe it; empty where they say nothing."""
        return self.details.description

    @property
    def unit(self) -> str:
        """The unit of the values; of several members with units of their own all of them."""
        members = self._members_in_view()
        if len(members) == 1:
            return members[0].unit or self.details.unit
        return self.details.unit

    @property
    def members(self) -> tuple[str, ...]:
        """The names of the members of spectra, profiles of regions, records of name-value lists."""
        return tuple(member.name for member in self._members_in_view())

    @property
    def axis(self) -> Axis | None:
        """The axis of the samples; None of values without samples."""
        if "sample" not in self._row_dims:
            return None
        start, increment, _, start_of_second = self.details.axis
        if self._view.profile == 1:
            start = start_of_second
        key = self._other_keys[self._row_dims.index("sample")]
        if isinstance(key, int):
            return None
        first, step = (key[0], key.step) if len(key) else (0, 1)
        return Axis(
            self.details.axis_label,
            self.details.axis_unit,
            start + first * increment,
            step * increment,
            len(key),
        )

    @property
    def dims(self) -> tuple[str, ...]:
        """The names of the dimensions: "event", and those of a row."""
        names = () if isinstance(self._view.rows, int) else ("event",)
        kept = tuple(
            name for name, key in zip(self._row_dims, self._other_keys, strict=True) if not isinstance(key, int)
        )
        return names + kept

    @property
    def shape(self) -> tuple[int, ...]:
        """The size of each dimension; where rows differ in shape, of the first one that can be read."""
        sizes = () if isinstance(self._view.rows, int) else (len(self._rows),)
        return sizes + tuple(len(key) for key in self._other_keys if not isinstance(key, int))

    @property
    def ndim(self) -> int:
        """The number of dimensions."""
        return len(self.dims)

    @property
    def dtype(self) -> np.dtype[Any]:
        """The type that `numpy` has; object of texts and name-value lists."""
        if self.kind == Kind.TEXT or (self.kind == Kind.NAME_VALUE and self._view.record is None):
            return np.dtype(object)
        return np.dtype(self.details.dtype)

    # ---- rows, as known without reading

    @property
    def event(self) -> NDArray[np.uint32]:
        """The event number of each row, by the tables of the files."""
        return np.asarray(self._index.numbers[self._row_key])

    @property
    def time(self) -> NDArray[np.datetime64]:
        """The time of each row, ``datetime64[us]`` in UTC, by the tables of the files."""
        return np.asarray(as_datetimes(self._index.times_us)[self._row_key])

    # ---- parts

    def __getitem__(self, key: object) -> Channel:
        """Return a part: rows first, then dimensions of a row; or a member or record by its name.

        Raises
        ------
        AccessError
            For a position beyond the end, or too many of them.
        ChannelNotFound
            For a name that no member or record has.
        """
        if isinstance(key, str):
            return self._of_member(key)
        keys = list(key) if isinstance(key, tuple) else [key]
        dims = self.dims
        if any(one is Ellipsis for one in keys):
            place = next(i for i, one in enumerate(keys) if one is Ellipsis)
            keys[place : place + 1] = [slice(None)] * (len(dims) - len(keys) + 1)
        if len(keys) > len(dims):
            raise AccessError(f"{self._label} has the dimensions {', '.join(dims)}, and {len(keys)} keys were given")
        part = self
        for dim, one in zip(dims, keys, strict=False):
            if isinstance(one, str):
                if dim not in ("member", "record"):
                    raise AccessError(f"The dimension {dim} of {self._label} has positions, not names as {one!r}")
                part = part._of_member(one)
            elif not (isinstance(one, slice) and one == slice(None)):
                part = part.isel(**{dim: one})
        return part

    def isel(self, **positions: Any) -> Channel:
        """Return a part by positions: ``isel(event=slice(0, 10), sample=3)``.

        Parameters
        ----------
        positions
            For each dimension an integer, which drops the dimension, or a slice; for events also a
            list or array of positions, or of booleans.
        """
        part = self
        for dim, key in positions.items():
            if dim not in part.dims:
                raise AccessError(f"{self._label} has the dimensions {', '.join(part.dims)}, not {dim}")
            part = part._with_rows(key) if dim == "event" else part._with_other(dim, key)
        return part

    def sel(self, *, event: Any = None, time: Any = None, member: str | None = None) -> Channel:
        """Return a part by labels: event numbers, times, the name of a member. Both ends belong to it.

        Parameters
        ----------
        event
            A number, a slice of numbers, or a list of numbers.
        time
            A slice of times: texts, ``datetime``, ``datetime64``. A time of day without a date is on
            the day of the data.
        member
            The name of a member or record.

        Raises
        ------
        AccessError
            For an event number that the channel does not have.
        """
        part = self
        if event is not None:
            part = part._with_rows(part._rows_of_events(event))
        if time is not None:
            part = part._with_rows(part._rows_of_times(time))
        return part if member is None else part._of_member(member)

    def aligned(self) -> Channel:
        """Return the channel with a row for every event of the run.

        Events at which it was not recorded have the status NOT_RECORDED, or of slow channels the value
        that the selection's slow policy holds, with its age.

        Examples
        --------
        >>> current = ravo.open(folder, slow="hold")["LINAC/MAGNET/001"]
        >>> len(current), len(current.aligned()), ravo.Status(int(current.aligned().status[50])).name
        (11, 202, 'HELD')
        """
        if self._view.rows is not None:
            raise AccessError(f"aligned() is of all rows of {self._label}; take a part of what it returns")
        return Channel(self._run, self._label, replace(self._view, aligned=True))

    # ---- values

    def read(self, *, progress: Progress = None) -> Values:
        """Read the values, with event, time and status of each row.

        Ctrl-C ends the reading with ``KeyboardInterrupt``; after that the run can be read on.
        """
        return self._read(None, progress)

    def numpy(self, *, fill: Any = None, out: NDArray[Any] | None = None, progress: Progress = None) -> NDArray[Any]:
        """Read the values as an array of the shape `shape`.

        Parameters
        ----------
        fill
            What rows without a value hold; see `Values.numpy`.
        out
            An array of this shape and type that the values are stored in.
        progress
            True for a progress bar, or a function of the done and the total bytes.

        Raises
        ------
        MissingValues
            For integers of which some are missing, if ``fill`` is not given.
        """
        if out is None:
            return self.read(progress=progress).numpy(fill=fill)
        if out.shape != self.shape or out.dtype != self.dtype:
            raise SelectionError(f"out= has {out.dtype} {out.shape}, and {self._label} is {self.dtype} {self.shape}")
        can_be_direct = self._is_whole and out.flags.c_contiguous and self.dtype != object
        values = self._read(out if can_be_direct else None, progress)
        array = values.numpy(fill=fill)
        if not np.shares_memory(array, out):
            np.copyto(out, array)
        return out

    def masked(self, *, progress: Progress = None) -> np.ma.MaskedArray[Any, Any]:
        """Read the values as a masked array, in which rows without a value are masked."""
        return self.read(progress=progress).masked()

    # ---- values as other packages have them

    def xarray(self, *, fill: Any = None, digest: bool = True, progress: Progress = None) -> xr.DataArray:
        """Read the values as a labelled array.

        Parameters
        ----------
        fill
            What rows without a value hold, as `numpy` takes it.
        digest
            Whether ``attrs["ravo_digest"]`` is made, for which every block is processed twice.
        progress
            True for a progress bar, or a function of the done and the total bytes.

        Returns
        -------
        xarray.DataArray
            With the dimensions `dims` and the type `dtype`, of name-value lists ``(event, record)`` and
            float32. Coordinates: ``event`` and ``event_number`` (uint32), ``time``
            (``datetime64[us]``, UTC), ``status`` (uint8, with CF flags), of held values ``age``
            (``timedelta64[us]``); ``member``, ``record``, ``axis``, ``y``, ``x`` where there are
            such dimensions. Rows that differ in shape are objects, one array each.

        Raises
        ------
        MissingValues
            For integers of which some are missing, if ``fill`` is not given.
        ImportError
            If xarray is not installed.

        Examples
        --------
        >>> x = run["LINAC/BPM/001"].xarray()
        >>> x.dims, x.sel(event=1000007, member="CHARGE").shape, x.axis.attrs["units"]
        (('event', 'member', 'sample'), (64,), 'us')
        """
        require("xarray", "xarray")
        from ravo import _xarray

        return _xarray.data_array(self, self._read(None, progress, digest=digest), fill)

    def pandas(self, *, status: bool = False, age: bool = False, progress: Progress = None) -> pd.DataFrame:
        """Read the values as a table: index event number, a time column, one column for each number.

        The arguments and columns are those of `Run.dataframe`; the rows are those of the channel.

        Raises
        ------
        AccessError
            For rows of more than a number for each member.
        ImportError
            If pandas is not installed.

        Examples
        --------
        >>> run["LINAC/ENERGY/001"].pandas().columns.tolist()
        ['time', 'LINAC/ENERGY/001']
        """
        require("pandas", "pandas")
        from ravo import _pandas

        return _pandas.of_channel(self, status=status, age=age, progress=progress)

    def arrow(self, *, progress: Progress = None) -> pa.Array:
        """Read the values as an Arrow array; rows without a value are null.

        Whole rows share memory with the reading. Samples, members and pixels are lists of a fixed
        size, name-value lists structures, texts large strings, rows that differ in shape lists.

        Raises
        ------
        ImportError
            If pyarrow is not installed.

        Examples
        --------
        >>> run["LINAC/TOROID/001"].arrow().type
        FixedSizeListType(fixed_size_list<item: float not null>[64])
        """
        require("pyarrow", "arrow")
        from ravo import _arrow

        return _arrow.of_values(self.read(progress=progress))

    def awkward(self, *, progress: Progress = None) -> ak.Array:
        """Read the values as an Awkward array, made for rows that differ in shape; None without a value.

        Raises
        ------
        ImportError
            If awkward is not installed.

        Examples
        --------
        >>> run["LINAC/MESSAGE/001"].awkward().ndim
        1
        """
        require("awkward", "awkward")
        from ravo import _awkward

        return _awkward.of_values(self.read(progress=progress))

    @property
    def status(self) -> NDArray[np.uint8]:
        """The outcome of each row, as numbers of `Status`. Reads the values, if they were not read."""
        return self._status if self._status is not None else self.read().status

    _status: NDArray[np.uint8] | None = None

    def envelope(
        self,
        bins: int = 1000,
        *,
        by: Literal["event", "time"] = "event",
        start: Any = None,
        end: Any = None,
        progress: Progress = None,
    ) -> Envelope:
        """Return least, mean, greatest and worst status in bins, without keeping the values.

        It may be of a range of rows and of one member or record; of other parts read the values.

        Parameters
        ----------
        bins
            How many.
        by
            "event": bins of as many events of the run; "time": bins as long.
        start, end
            A part of the run, without its end: positions of events, or times. Left out: the events, or
            the time, of these rows.

        Raises
        ------
        SelectionError
            For a part that is no range of rows, and one of samples or pixels.

        Examples
        --------
        >>> envelope = run["LINAC/BPM/001"]["CHARGE"][50:150].envelope(20)
        >>> envelope.series[0].name, envelope.series[0].least.shape, int(envelope.values.sum())
        ('CHARGE', (20,), 100)
        """
        if by not in ("event", "time"):
            raise ValueError(f'by= is "event" or "time", not {by!r}')
        names = self._series_in_view("envelope()")
        if by == "time":
            axis, span = BinAxis.TIME, self._span_of_times()
            limits = tuple(None if one is None else self._microseconds(one) for one in (start, end))
        else:
            axis, span = BinAxis.EVENTS, self._span_of_events()
            limits = (start, end)
        first = limits[0] if span is None else max(span[0], limits[0] or span[0])
        last = limits[1] if span is None else min(span[1], span[1] if limits[1] is None else limits[1])
        with reporting(progress, self._label) as report:
            made = self._run._dataset.envelope(self._label, bins, axis, first, last, report)
        return made if names is None else made.of_series(names)

    def statistics(self, *, progress: Progress = None) -> Statistics:
        """Return count, mean, deviation and extremes of the numbers, and gaps.

        It may be of one member or record, and is of all rows.

        Raises
        ------
        SelectionError
            For a part of the rows, samples or pixels.

        Examples
        --------
        >>> run["LINAC/BPM/001"]["X"].statistics().series[0].count
        12800
        """
        names = self._series_in_view("statistics()", all_rows=True)
        with reporting(progress, self._label) as report:
            made = self._run._dataset.statistics(self._label, report)[0]
        return made if names is None else made.of_series(names)

    def histogram(
        self,
        bins: int = 100,
        *,
        least: float | None = None,
        greatest: float | None = None,
        progress: Progress = None,
    ) -> Histogram:
        """Return how often which numbers occur.

        It may be of one member or record, and is of all rows.

        Parameters
        ----------
        bins
            How many.
        least, greatest
            The limits; left out, the least and the greatest number of each member.

        Raises
        ------
        SelectionError
            For a part of the rows, samples or pixels.

        Examples
        --------
        >>> histogram = run["LINAC/BPM/001"]["X"].histogram(10)
        >>> int(histogram.series[0].counts.sum())
        12800
        """
        names = self._series_in_view("histogram()", all_rows=True)
        with reporting(progress, self._label) as report:
            made = self._run._dataset.histogram(self._label, bins, least, greatest, report)
        return made if names is None else made.of_series(names)

    def _series_in_view(self, what: str, *, all_rows: bool = False) -> list[str] | None:
        """Return the names of the series of this part; None: all of them."""
        view = self._view
        if all_rows and view.rows is not None:
            numbers = self.event
            events = f" event={np.min(numbers)}-{np.max(numbers)}" if np.size(numbers) else ""
            raise SelectionError(
                f"{what} is of all rows of {self._label}: open a run of fewer events, "
                f"ravo.open(run.selection + {events!r}), or compute it of the values"
            )
        cut = [
            dim
            for dim, key in zip(self._row_dims, self._other_keys, strict=True)
            if dim != "member" and key != range(self._row_sizes[dim])
        ]
        if cut:
            raise SelectionError(
                f"{what} is of all of each value of {self._label}, and this is a part of its dimension {cut[0]}: "
                f"compute it of the values, .numpy()"
            )
        if view.record is None and view.profile is None and view.others is None:
            return None
        return list(self.members) if view.record is None else [view.record]

    def _span_of_events(self) -> tuple[int, int] | None:
        """Return the positions of the first event of these rows, and of the one after the last; None: all."""
        rows = self._range_of_rows()
        if rows is None:
            return None
        numbers, times = self._run._ids()
        ends = []
        for row in (rows[0], rows[-1]):
            same = (numbers == self._index.numbers[row]) & (times == self._index.times_us[row])
            if np.count_nonzero(same) != 1:
                raise SelectionError(f"Several events of the run are the same as that of row {row} of {self._label}")
            ends.append(int(np.argmax(same)))
        return ends[0], ends[1] + 1

    def _span_of_times(self) -> tuple[int, int] | None:
        """Return the time of the first of these rows, and the microsecond after the last; None: all."""
        rows = self._range_of_rows()
        if rows is None:
            return None
        times = self._index.times_us
        of_rows = times[rows[0] : rows[-1] + 1]
        first, last = int(np.min(of_rows)), int(np.max(of_rows)) + 1
        if np.count_nonzero((times >= first) & (times < last)) != len(rows):
            raise SelectionError(f'Other rows of {self._label} are of the same time: use by="event"')
        return first, last

    def _range_of_rows(self) -> range | None:
        """Return the rows, which have to be back to back; None: all."""
        if self._view.rows is None:
            return None
        rows = self._rows
        if not isinstance(rows, range) or abs(rows.step) != 1 or len(rows) == 0:
            raise SelectionError(
                f"envelope() is of a range of rows of {self._label}, without a step: read the values of others"
            )
        return rows if rows.step > 0 else rows[::-1]

    def plot(self, *, ax: Axes | None = None, x: Literal["time", "event"] = "time", bins: int = 1000) -> Axes:
        """Draw the values by matplotlib, as their kind is drawn best.

        - Numbers: a line over time, one for each member or record; slow values as steps. Of more than
          twice ``bins`` rows the mean of each bin, with a band from the least to the greatest: no value
          is passed over.
        - Spectra and profiles: the samples of one event (``channel[7].plot()``), or the mean of many with a
          band from the least to the greatest.
        - Pictures: one frame, or the mean of many, with a colour bar.

        Missing values are gaps and red marks, and the legend says how many there are and why.

        Parameters
        ----------
        ax
            Where to draw; left out, a new figure.
        x
            What numbers are drawn over: "time" or "event" numbers.
        bins
            Into how many bins many rows are put.

        Raises
        ------
        AccessError
            For texts, single numbers, and channels without a value.
        ImportError
            Without the package matplotlib.

        Examples
        --------
        >>> ax = run["LINAC/ENERGY/001"].plot()
        >>> ax.get_ylabel()
        'energy [MeV]'
        """
        try:
            from ravo._plot import plot
        except ImportError as error:
            raise ImportError("Plots need the package matplotlib: pip install 'ravo[plot]'") from error
        return plot(self, ax, x, bins)

    # ---- protocols

    def __len__(self) -> int:
        """Return the number of rows."""
        return 1 if isinstance(self._view.rows, int) else len(self._rows)

    def __iter__(self) -> Iterator[Any]:
        """Read the values, and yield one row after the other."""
        return iter(self.numpy())

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> NDArray[Any]:
        """Return `numpy()`, for NumPy's functions."""
        return self.read().__array__(dtype, copy)

    def __arrow_c_array__(self, requested_schema: object | None = None) -> tuple[object, object]:
        """Read the values for a library that speaks Arrow; rows without a value are null."""
        if self._view.others is not None or self._view.record is not None:
            raise AccessError(f"Only whole rows of {self._label} go to Arrow; take members and samples there")
        values = self.read()
        if not isinstance(values._row_key, int) and not is_all(values._row_key):
            raise AccessError(f"Arrow takes rows of {self._label} in their order and once; use .arrow() for others")
        return values.column.__arrow_c_array__(requested_schema)

    def _ipython_key_completions_(self) -> list[str]:
        return list(self.members)

    def __repr__(self) -> str:
        """Return name, shape and unit."""
        sizes = ", ".join(f"{name}: {size}" for name, size in zip(self.dims, self.shape, strict=True))
        unit = f" [{self.unit}]" if self.unit else ""
        return f"<ravo.Channel {self._label}{unit} ({sizes}) {self.dtype}>"

    # ---- inside

    @cached_property
    def _index(self) -> ChannelIndex:
        return self._run._index_of(self._label, Rows.EVENTS if self._view.aligned else Rows.RECORDED)

    @property
    def _row_dims(self) -> tuple[str, ...]:
        """The dimensions of a whole row; a list of records is one object."""
        if self.kind == Kind.NAME_VALUE:
            return ()
        return tuple(self._row_sizes)

    @cached_property
    def _row_sizes(self) -> dict[str, int]:
        """The sizes of the dimensions of a whole row."""
        if self.kind == Kind.NAME_VALUE:
            return {}
        if self._view.profile is None:
            return {dimension.name: dimension.size for dimension in self.details.dimensions}
        part = Part()
        part.member = self._view.profile
        return dict(self._run._dataset.layout(self._label, part)[3])

    @cached_property
    def _other_keys(self) -> tuple[int | range, ...]:
        if self._view.others is not None:
            return self._view.others
        return tuple(range(size) for size in self._row_sizes.values())

    @property
    def _rows(self) -> Positions:
        rows = self._view.rows
        if rows is None:
            return range(len(self._index))
        return range(rows, rows + 1) if isinstance(rows, int) else rows

    @property
    def _row_key(self) -> Key:
        rows = self._view.rows
        return slice(None) if rows is None else rows if isinstance(rows, int) else _as_key(rows)

    @property
    def _is_whole(self) -> bool:
        return self._view == View()

    def _members_in_view(self) -> list[Any]:
        members = self.details.members
        if self._view.record is not None:
            return [member for member in members if member.name == self._view.record]
        if self._view.profile is not None:
            return [members[self._view.profile]]
        if self._view.others is None or "member" not in self._row_dims:
            return list(members)
        key = self._other_keys[self._row_dims.index("member")]
        return [members[key]] if isinstance(key, int) else [members[one] for one in key]

    def _of_member(self, name: str) -> Channel:
        names = self.members
        if self.kind == Kind.NAME_VALUE:  # lists may have records that the first one lacks
            return Channel(self._run, self._label, replace(self._view, others=None, record=name))
        if name in names and "member" in self.dims:
            return self._with_other("member", names.index(name))
        if name in names and self._view == View(rows=self._view.rows) and self.kind == Kind.ROI:
            return Channel(self._run, self._label, replace(self._view, profile=names.index(name)))
        raise ChannelNotFound(_unknown(f"{self._label} has no member {name}", name, list(names)))

    def _with_rows(self, key: Indexer) -> Channel:
        if "event" not in self.dims:
            raise AccessError(f"This part of {self._label} is of a single event")
        rows = _taken(self._rows, key, f"{self._label} has {len(self._rows)} rows")
        return Channel(self._run, self._label, replace(self._view, rows=rows))

    def _with_other(self, dim: str, key: Any) -> Channel:
        place = self._row_dims.index(dim)
        old = self._other_keys[place]
        assert isinstance(old, range)
        if not isinstance(key, (int, np.integer, slice)):
            raise AccessError(f"The dimension {dim} of {self._label} takes an integer or a slice, not {key!r}")
        new = _taken(old, key, f"The dimension {dim} of {self._label} has {len(old)} positions")
        assert not isinstance(new, np.ndarray)
        others = (*self._other_keys[:place], new, *self._other_keys[place + 1 :])
        return Channel(self._run, self._label, replace(self._view, others=others))

    def _rows_of_events(self, wanted: Any) -> Indexer:
        numbers = self.event
        if isinstance(wanted, slice):
            if wanted.step not in (None, 1):
                raise AccessError("A slice of event numbers has no step; use isel(event=...)")
            first = 0 if wanted.start is None else wanted.start
            last = np.iinfo(np.uint32).max if wanted.stop is None else wanted.stop
            return np.flatnonzero((numbers >= first) & (numbers <= last))
        asked = np.atleast_1d(np.asarray(wanted, dtype=np.int64))
        order = np.argsort(numbers, kind="stable")
        places = np.searchsorted(numbers[order], asked)
        found = places < len(numbers)
        found[found] = numbers[order][places[found]] == asked[found]
        if not found.all():
            raise AccessError(f"{self._label} has no value at event {asked[~found][0]}")
        positions = order[places]
        return int(positions[0]) if np.ndim(wanted) == 0 else positions

    def _rows_of_times(self, wanted: Any) -> Indexer:
        if not isinstance(wanted, slice):
            return self._rows_of_times(slice(wanted, wanted))
        if wanted.step is not None:
            raise AccessError("A slice of times has no step; use isel(event=...)")
        times = self._index.times_us[self._row_key]
        chosen = np.ones(len(times), dtype=bool)
        if wanted.start is not None:
            chosen &= times >= self._microseconds(wanted.start)
        if wanted.stop is not None:
            chosen &= times <= self._microseconds(wanted.stop)
        return np.flatnonzero(chosen)

    def _microseconds(self, time: TimeLike) -> int:
        return self._run._microseconds(time)

    def _read(self, into: NDArray[Any] | None, progress: Progress, *, digest: bool = False) -> Values:
        part = Part()
        part.rows = Rows.EVENTS if self._view.aligned else Rows.RECORDED
        part.with_digest = digest
        row_key = _push_rows(part, self._view.rows)
        other_keys, row_shape = self._push_others(part)
        with reporting(progress, self._label) as report:
            column = self._run._dataset.column(self._label, part, into, report)
        needs_keys = other_keys or not (isinstance(row_key, slice) and row_key == slice(None))
        values = Values(column, (row_key, *other_keys) if needs_keys else (), self._view.record, row_shape)
        self._status = values.status
        return values

    def _push_others(self, part: Part) -> tuple[tuple[Key, ...], tuple[int, ...] | None]:
        """Let the reading cut what it can; return the keys for what it returns, and the shape of its rows."""
        part.member = self._view.profile
        if self._view.others is None:
            return (), None
        sizes = dict(self._row_sizes)
        keys: dict[str, int | range] = dict(zip(self._row_dims, self._other_keys, strict=True))

        def push(dim: str) -> tuple[int, int]:
            first, sizes_left, keys[dim] = _bounds(keys[dim])
            asked = sizes_left + (1 if first + sizes_left == sizes[dim] else 0)  # a longer row must show
            sizes[dim] = sizes_left
            return first, asked

        if "member" in keys and (isinstance(keys["member"], int) or len(keys["member"]) == 1):
            part.member, sizes["member"], keys["member"] = _bounds(keys["member"])
        if self.kind == Kind.SPECTRUM and "sample" in keys:
            part.samples = push("sample")
        if self.kind == Kind.IMAGE and keys.keys() == {"y", "x"}:
            (x, width), (y, height) = push("x"), push("y")
            part.region = (x, y, width, height)
        return tuple(key if isinstance(key, int) else _as_key(key) for key in keys.values()), tuple(sizes.values())


def _bounds(key: int | range) -> tuple[int, int, int | range]:
    """Return first and count of a range that holds a key, and the key within it."""
    if isinstance(key, int):
        return key, 1, 0
    if len(key) == 0:
        return 0, 1, range(0)
    first, last = min(key[0], key[-1]), max(key[0], key[-1])
    return first, last + 1 - first, range(key.start - first, key.stop - first, key.step)


def _as_key(positions: Positions) -> Key:
    """Return the key that takes these positions; of a range a slice, so that nothing is copied."""
    if isinstance(positions, np.ndarray):
        return positions
    if len(positions) == 0:
        return slice(0, 0)
    stop: int | None = positions[-1] + (1 if positions.step > 0 else -1)
    return slice(positions[0], None if stop is not None and stop < 0 else stop, positions.step)


def _taken(old: Positions, key: Indexer, what: str) -> int | range | NDArray[np.intp]:
    """Return what a key takes of positions, as NumPy takes it."""
    if isinstance(key, slice):
        return old[key]
    if isinstance(key, (int, np.integer)) and not isinstance(key, bool):
        place = int(key)
        if not -len(old) <= place < len(old):
            raise AccessError(f"{what}, and position {place} was asked for")
        return int(old[place])
    array = np.asarray(key)
    if array.size == 0:
        array = array.astype(np.intp)
    if array.ndim != 1 or (array.dtype.kind not in "iu" and array.dtype != bool):
        raise AccessError(f"{what}, which are taken by an integer, a slice, or a list of positions or booleans")
    try:
        taken: NDArray[np.intp] = np.asarray(old, dtype=np.intp)[array]
    except IndexError as error:
        raise AccessError(f"{what}: {error}") from None
    if len(taken) and (np.diff(taken) == 1).all():
        return range(int(taken[0]), int(taken[-1]) + 1)
    return taken


def _push_rows(part: Part, rows: int | range | NDArray[np.intp] | None) -> Key:
    """Let the reading take rows, and return the key for what it returns."""
    if rows is None:
        return slice(None)
    if isinstance(rows, int):
        part.first, part.count = rows, 1
        return 0
    if len(rows) == 0:
        part.first, part.count = 0, 0
        return slice(None)
    if isinstance(rows, range):
        part.first, part.count, part.step = min(rows[0], rows[-1]), len(rows), abs(rows.step)
        return slice(None) if rows.step > 0 else slice(None, None, -1)
    ascending, places = np.unique(rows, return_inverse=True)
    part.row_list = ascending.tolist()
    if len(ascending) == len(rows) and (places == np.arange(len(rows))).all():
        return slice(None)
    return places


def _unknown(sentence: str, wanted: str, names: list[str]) -> str:
    near = near_names(wanted, names)
    return f"{sentence}; did you mean {join_or(near)}?" if near else sentence


def find_label(labels: Mapping[str, object], wanted: str) -> str:
    """Return a label that exists.

    Raises
    ------
    ChannelNotFound
        With names that are spelt nearly alike.
    """
    if wanted in labels:
        return wanted
    raise ChannelNotFound(_unknown(f"The run has no channel {wanted}", wanted, list(labels)))
