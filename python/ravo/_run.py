"""A run: raw files opened by a selection."""

from __future__ import annotations

from collections.abc import Iterable, Iterator, Mapping
from typing import TYPE_CHECKING, Any, Literal, TypedDict

import numpy as np
from numpy.typing import NDArray

from ravo import _core, _pickles  # noqa: F401 (which registers what is pickled)
from ravo._availability import Availability
from ravo._batch import Batch
from ravo._channel import Channel, find_label
from ravo._core import (
    BlockPlace,
    ChannelIndex,
    Dataset,
    DatasetFile,
    Description,
    Digest,
    Event,
    EventIterator,
    Ledger,
    Part,
    Partition,
    Plan,
    Rows,
    Statistics,
    ValueDigest,
)
from ravo._errors import AccessError
from ravo._facts import Facts
from ravo._optional import require
from ravo._progress import Progress, reporting
from ravo._selection import PathLike, What, check_listed_files, make_selection
from ravo._sizes import bytes_of
from ravo._times import TimeLike, as_datetimes, microseconds

if TYPE_CHECKING:
    import pandas as pd
    import pyarrow as pa
    import xarray as xr


class Options(TypedDict, total=False):
    """How a run is read: the options of ``ravo.open`` that are not of the selection."""

    threads: int
    memory_limit: int
    largest_block: int
    open_files: int
    largest_missing_share: float


def open(
    what: What = None,
    /,
    *,
    run: int | str | tuple[int, int] | None = None,
    chan: str | Iterable[str] | None = None,
    file: PathLike | Iterable[PathLike] | None = None,
    start: TimeLike | None = None,
    end: TimeLike | None = None,
    event: int | str | tuple[int | None, int | None] | slice | None = None,
    step: int | None = None,
    limit: int | None = None,
    slow: Literal["none", "hold", "nearest"] | None = None,
    max_age: str | None = None,
    join: str | None = None,
    synch: Literal["number", "time"] | None = None,
    tolerance: str | None = None,
    experiment: str | None = None,
    stream: str | None = None,
    catalog: PathLike | None = None,
    data: PathLike | None = None,
    threads: int = 0,
    memory_limit: int | str = "1 GiB",
    largest_block: int | str = "256 MiB",
    open_files: int = 64,
    largest_missing_share: float = 1.0,
) -> Run:
    """Open raw files by a selection. Dictionaries and tables are read, and no values.

    Parameters
    ----------
    what
        The text of a selection, ``"linac/main run=1207 chan=LINAC/BPM/*"``; or the path of a raw
        file or of a folder of them, as a ``Path`` or a list of ``Path``; or a `Partition`.
    run, chan, file, event, step, limit, slow, max_age, join, synch, tolerance, catalog, data
        The words of a selection, beside those of its text.
    start, end
        The words ``from=`` and ``to=``: texts, ``datetime``, ``datetime64``; UTC unless they say
        otherwise.
    experiment, stream
        The first word, "linac/main" if nothing is said.
    threads
        Threads that read and decode, with the one that calls; 0: as many as the machine has.
    memory_limit
        Bytes that readings may own: an integer, or a text such as "2 GB". Arrays that were returned
        do not count.
    largest_block
        Blocks that decode to more than this are not decoded.
    open_files
        How many at a time.
    largest_missing_share
        The share of values that may be missing, 0 to 1. If more are, readings raise `MissingData`.

    Returns
    -------
    Run
        A mapping from channels' names to channels.

    Raises
    ------
    SelectionError
        For a selection that cannot be read, or that nothing matches.
    FilesNotFound
        For a selection without a file, and for a listed file that is not there; also a
        ``FileNotFoundError``.

    Examples
    --------
    >>> run = ravo.open(folder, chan=["LINAC/BPM/*", "LINAC/MAGNET/001"], slow="hold", max_age="2s")
    >>> len(run)
    12
    """
    selection = make_selection(
        what,
        file=file,
        experiment=experiment,
        stream=stream,
        start=start,
        end=end,
        run=run,
        chan=chan,
        event=event,
        step=step,
        limit=limit,
        slow=slow,
        max_age=max_age,
        join=join,
        synch=synch,
        tolerance=tolerance,
        catalog=catalog,
        data=data,
    )
    options = Options(
        threads=threads,
        memory_limit=bytes_of(memory_limit),
        largest_block=bytes_of(largest_block),
        open_files=open_files,
        largest_missing_share=largest_missing_share,
    )
    return Run(selection, options)


def _open_again(text: str, options: Options) -> Run:
    return Run(_core.Selection.parse(text), options)


class Run(Mapping[str, Channel]):
    """Raw files opened by a selection: a mapping from channels' names to channels.

    `open` makes it. It may be used by several threads at once. Pickled, it is its selection, which
    is opened again; in a forked child it opens again by itself.

    Examples
    --------
    >>> run = ravo.open(folder)
    >>> run["LINAC/ENERGY/001"].numpy().shape
    (200,)
    >>> "LINAC/BPM/001" in run
    True
    """

    def __init__(self, selection: _core.Selection, options: Options | None = None) -> None:
        """Open a selection; `open` takes it in more forms."""
        self._options = options or Options()
        check_listed_files(selection)
        self._dataset = Dataset(selection, **self._options)
        self._labels = dict.fromkeys(self._dataset.labels)
        self._facts = Facts(self._dataset)

    # ---- what is there

    @property
    def selection(self) -> str:
        """The text that opens this run again, with absolute paths."""
        return self._dataset.selection.to_text()

    @property
    def channels(self) -> list[str]:
        """The labels of the channels: "NAME", or "NAME:member" where the selection names a member."""
        return list(self._labels)

    @property
    def files(self) -> list[DatasetFile]:
        """The files, also those that were left out, each with the reason."""
        return self._dataset.files

    @property
    def event(self) -> NDArray[np.uint32]:
        """The numbers of the events, by the tables of the files."""
        return self._ids()[0]

    @property
    def time(self) -> NDArray[np.datetime64]:
        """The times of the events, ``datetime64[us]`` in UTC, by the tables of the files."""
        return as_datetimes(self._ids()[1])

    @property
    def ledger(self) -> Ledger:
        """What was expected, delivered and missing in all readings so far."""
        return self._dataset.ledger

    def __getitem__(self, label: str) -> Channel:
        """Return a channel. Nothing is read before its values are asked for.

        Raises
        ------
        ChannelNotFound
            Also a ``KeyError``; the message names channels that are spelt nearly alike.
        """
        return Channel(self, find_label(self._labels, label))

    def __contains__(self, label: object) -> bool:
        """Return whether the run has a channel of this label."""
        return label in self._labels

    def __iter__(self) -> Iterator[str]:
        """Yield the labels of the channels."""
        return iter(self._labels)

    def __len__(self) -> int:
        """Return the number of channels."""
        return len(self._labels)

    def plan(self) -> Plan:
        """Return what reading everything would take: files, events, bytes, memory, seconds, problems."""
        return self._dataset.plan()

    def partitions(self, size: int | str | None = None, *, count: int | None = None) -> list[Partition]:
        """Return parts of the run that can be read alone, in any order, by several processes or machines.

        What they deliver, their ledgers and their digests add up to those of the whole. Files that
        overlap in time stay together.

        Parameters
        ----------
        size
            How many decoded bytes a part has at most, by the plan's estimate: an integer, or a text such
            as "200 MB". A part of which a piece cannot be cut is larger.
        count
            Or: how many parts, of about equal size; fewer where there are fewer pieces.

        Raises
        ------
        SelectionError
            Unless one of both is given.

        Examples
        --------
        >>> parts = run.partitions(count=2)
        >>> [part.events for part in parts]
        [101, 101]
        >>> ledger = sum((ravo.open(part.text).ledger for part in parts), ravo.Ledger())
        >>> ledger.is_balanced
        True
        """
        target = None if size is None else bytes_of(size)
        return self._dataset.partitions(target_bytes=target, count=count)

    def index(
        self, channels: Iterable[str] | None = None, *, rows: Literal["recorded", "events"] = "recorded"
    ) -> dict[str, ChannelIndex]:
        """Return which events channels have, when, and what the tables say of each value.

        Nothing is decoded. ``rows="events"`` has a row for every event of the run.
        """
        wanted = None if channels is None else [find_label(self._labels, label) for label in channels]
        return {one.channel: one for one in self._dataset.index(wanted, _rows(rows))}

    def availability(
        self, bins: int = 1000, *, start: TimeLike | None = None, end: TimeLike | None = None
    ) -> Availability:
        """Return how many values each channel has when, and where files are missing, by the tables alone."""
        first, last = (None if one is None else self._microseconds(one) for one in (start, end))
        return Availability(self._dataset.availability(bins, first, last))

    def describe(self) -> dict[str, Description]:
        """Return what all channels are, by one walk over the files."""
        return self._facts.all_in_full()

    def locate(self, label: str, row: int) -> BlockPlace | None:
        """Return where the block of a row of a channel lies, and how it is stored."""
        return self._dataset.locate(find_label(self._labels, label), row)

    # ---- values

    def events(self, *, progress: Progress = None, backward: bool = False) -> Iterator[Event]:
        """Yield the events, in order or backward: each has a value of every channel.

        Columns are several times faster; use events where channels have to be seen together.

        Examples
        --------
        >>> for event in run.events():
        ...     if event["LINAC/ENERGY/001"]:
        ...         print(event.number, event["LINAC/ENERGY/001"].status.name)
        ...         break
        1000001 OK
        """
        if not progress:
            return self._dataset.events(backward=backward)
        return self._reported_events(progress, backward)

    def _reported_events(self, progress: Progress, backward: bool) -> Iterator[Event]:
        with reporting(progress, "events") as report:
            reading: EventIterator = self._dataset.events(backward=backward, progress=report)
            yield from reading

    def at(self, which: int | TimeLike) -> Event:
        """Return the event with a number, or at a time: the nearest within the selection's tolerance.

        Parameters
        ----------
        which
            An integer is an event number. A text, ``datetime`` or ``datetime64`` is a time, a time
            of day without a date one on the day of the data.

        Raises
        ------
        AccessError
            If there is no such event; also a ``LookupError``.
        SelectionError
            For a text that is no time, and a time of day where the data lie on several days.
        """
        if isinstance(which, (int, np.integer)):
            found = self._dataset.at_number(int(which))
        else:
            found = self._dataset.at_time_us(self._microseconds(which))
        if found is None:
            raise AccessError(f"The run has no event at {which}")
        return found

    def batches(
        self,
        size: int | str = "100 MB",
        channels: Iterable[str] | None = None,
        *,
        progress: Progress = None,
    ) -> Iterator[Batch]:
        """Yield the run in parts of successive events, with the values of several channels.

        Parameters
        ----------
        size
            About how many decoded bytes a part has: an integer, or a text such as "100 MB". By the
            mean size of values; a part has one event at least.
        channels
            Which; left out, all.
        """
        wanted = self._wanted(channels)
        count = len(self.event)
        each = self._events_of(bytes_of(size), wanted)
        for first in range(0, count, each):
            part = Part()
            part.rows, part.first, part.count = Rows.EVENTS, first, each
            with reporting(progress, f"events {first} to {min(first + each, count)}") as report:
                columns = self._dataset.columns(wanted, part, report)
            yield Batch(columns)

    def xarray(
        self,
        channels: Iterable[str] | None = None,
        *,
        chunks: str | Mapping[str, int] | None = None,
        fill: Any = None,
        digest: bool = True,
        progress: Progress = None,
    ) -> xr.Dataset:
        """Return channels as a labelled dataset, aligned by event.

        The events are those that one of the channels was recorded at; slow channels have values there
        by the selection's slow policy.

        Parameters
        ----------
        channels
            Which; left out, all.
        chunks
            Left out: everything is read now, in one pass over the files. Else values are read when they
            are computed, by Dask, in chunks of successive events: a text such as "64 MB" is the decoded
            size of a chunk of the channel with the largest values; a mapping is Dask's, of events by
            ``{"event": 500}``.
        fill
            What rows without a value hold, see `Values.numpy`; or a dictionary from channels to that.
        digest
            Whether ``attrs["ravo_digest"]`` of each variable is made, for which every block is processed
            twice. Not of chunks.
        progress
            True for a progress bar, or a function of the done and the total bytes. Not of chunks.

        Returns
        -------
        xarray.Dataset
            Of each channel a variable of its name, as `Channel.xarray` has it, and ``NAME.status``; of
            slow channels that hold values ``NAME.age``. Where channels differ in a dimension, it is
            named after the first channel that has it: ``LINAC/RF/001.sample``.

        Raises
        ------
        MissingValues
            For integers of which some are missing, if ``fill`` is not given; of chunks when they are read.
        ImportError
            If xarray is not installed, or Dask for chunks.

        Examples
        --------
        >>> beam = run.xarray(["LINAC/TOROID/001", "LINAC/ENERGY/001"])
        >>> beam["LINAC/TOROID/001"].dims, int(beam["LINAC/ENERGY/001.status"].max())
        (('event', 'sample'), 0)
        """
        require("xarray", "xarray")
        from ravo import _engine, _xarray

        wanted = self._wanted(channels)
        if chunks is None:
            return _xarray.dataset(self, wanted, fill=fill, digest=digest, progress=progress)
        require("dask", "dask")
        return _engine.chunked(self, wanted, chunks, fill=fill)

    def dataframe(
        self,
        channels: Iterable[str] | None = None,
        *,
        status: bool = False,
        age: bool = False,
        progress: Progress = None,
    ) -> pd.DataFrame:
        """Read channels as a table, with a row for each event that one of them was recorded at.

        Parameters
        ----------
        channels
            Which; left out, all that have a number for each member, a list of records or a text.
        status
            Whether each channel has a column ``NAME.status``: numbers of `Status`, uint8.
        age
            Whether each slow channel has a column ``NAME.age``: of held values, ``timedelta64[us]``.
        progress
            True for a progress bar, or a function of the done and the total bytes.

        Returns
        -------
        pandas.DataFrame
            The index ``event_number``, a column ``time`` (``datetime64[us, UTC]``), and of each channel
            ``NAME``, or ``NAME:MEMBER`` for each of several members and for each record. Numbers are
            float32, NaN where there is none; integers of which some are missing are nullable integers;
            texts are objects.

        Raises
        ------
        AccessError
            For a channel with more than a number for each member.
        ImportError
            If pandas is not installed.

        Examples
        --------
        >>> table = run.dataframe(["LINAC/ENERGY/001", "LINAC/STATUS/001"])
        >>> table.shape, table.columns[1:3].tolist()
        ((200, 5), ['LINAC/ENERGY/001', 'LINAC/STATUS/001:BUNCHES'])
        """
        require("pandas", "pandas")
        from ravo import _pandas

        return _pandas.of_run(self, channels, status=status, age=age, progress=progress)

    def arrow(self, channels: Iterable[str] | None = None, *, progress: Progress = None) -> pa.Table:
        """Read channels as an Arrow table: event_number, time, and of each channel NAME and NAME.status.

        There is a row for each event of the run. Values that are not there are null. The metadata of
        the table have the selection and the version, those of columns the unit.

        Raises
        ------
        ImportError
            If pyarrow is not installed.

        Examples
        --------
        >>> run.arrow(["LINAC/ENERGY/001"]).column_names
        ['event_number', 'time', 'LINAC/ENERGY/001', 'LINAC/ENERGY/001.status']
        """
        require("pyarrow", "arrow")
        from ravo import _arrow

        return _arrow.of_run(self, self._wanted(channels), progress)

    def digest(self, *, progress: Progress = None) -> dict[str, Digest]:
        """Return the digest of each channel's blocks: reads everything."""
        with reporting(progress, "digest") as report:
            return self._dataset.digest(report)

    def value_digests(self, *, progress: Progress = None) -> dict[str, ValueDigest]:
        """Return the digest of each channel's values, equal for every format: reads everything."""
        with reporting(progress, "digest") as report:
            return self._dataset.value_digests(report)

    def statistics(self, *, progress: Progress = None) -> dict[str, Statistics]:
        """Return the statistics of all channels, by one walk over the files: reads everything."""
        with reporting(progress, "statistics") as report:
            return {one.channel: one for one in self._dataset.statistics(None, report)}

    # ---- protocols

    def __repr__(self) -> str:
        """Return selection, files, events, time span, channels and problems."""
        from ravo import _summary

        return _summary.as_text(self)

    def _repr_html_(self) -> str:
        from ravo import _summary

        return _summary.as_html(self)

    def _ipython_key_completions_(self) -> list[str]:
        return self.channels

    def __eq__(self, other: object) -> bool:
        """Return whether it is the same object."""
        return self is other

    def __hash__(self) -> int:
        """Return a hash of the object."""
        return id(self)

    def __reduce__(self) -> tuple[Any, ...]:
        """Pickle the selection and the options."""
        return _open_again, (self.selection, self._options)

    # ---- for the other modules of the package

    def _ids(self) -> tuple[NDArray[np.uint32], NDArray[np.int64]]:
        if not hasattr(self, "_event_ids"):
            self._event_ids = self._dataset.event_ids()
        return self._event_ids

    def _wanted(self, channels: Iterable[str] | None) -> list[str]:
        if isinstance(channels, str):
            raise TypeError(f"Channels are a list of names, not a text: [{channels!r}]")
        return self.channels if channels is None else [find_label(self._labels, label) for label in channels]

    def _index_of(self, label: str, rows: Rows = Rows.RECORDED) -> ChannelIndex:
        return self._dataset.index([label], rows)[0]

    def _microseconds(self, time: TimeLike) -> int:
        times = self._ids()[1]
        return microseconds(time, (int(times[0]), int(times[-1])) if len(times) else None)

    def _events_of(self, size: int, channels: list[str]) -> int:
        plan = self.plan()
        of_channels = sum(one.decoded_bytes for one in plan.channels if one.channel in set(channels))
        return max(1, size * plan.events // of_channels) if of_channels else max(1, plan.events)


def _rows(text: str) -> Rows:
    if text not in ("recorded", "events"):
        raise ValueError(f'rows= is "recorded" or "events", not {text!r}')
    return Rows.EVENTS if text == "events" else Rows.RECORDED


def find_files(what: What = None, /, **words: Any) -> _core.FoundFiles:
    """Return which raw files a selection names, and what is known to be missing. No file is opened.

    The arguments are those of `open` that are of the selection.

    Raises
    ------
    FilesNotFound
        When there is no file; the message says why.

    Examples
    --------
    >>> len(ravo.find_files(folder).files)
    2
    """
    return _core.find_files(make_selection(what, **words))
