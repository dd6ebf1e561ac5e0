"""Values, ledgers and indexes as pandas has them."""

from __future__ import annotations

from collections.abc import Iterable, Sequence
from typing import TYPE_CHECKING, Any

import numpy as np
import pandas as pd
from numpy.typing import NDArray

from ravo import _aligned
from ravo._channel import Channel, View
from ravo._core import ChannelIndex, IndexStatus, Kind, Ledger, MissingCause
from ravo._errors import AccessError
from ravo._progress import Progress
from ravo._times import as_datetimes
from ravo._values import Values

if TYPE_CHECKING:
    from ravo._run import Run


def of_channel(channel: Channel, *, status: bool, age: bool, progress: Progress) -> pd.DataFrame:
    """Return the rows of a channel, or of a part of it, as a table."""
    _check_form(channel)
    values = channel.read(progress=progress)
    columns = {"time": _times(values.time)} | _columns(channel, values, status=status, age=age)
    return pd.DataFrame(columns, index=_numbers(values.event))


def of_run(run: Run, channels: Iterable[str] | None, *, status: bool, age: bool, progress: Progress) -> pd.DataFrame:
    """Return channels at the events that one of them was recorded at, as a table."""
    if channels is None:
        run.describe()
    labels = [label for label in run if _is_table(run[label])] if channels is None else run._wanted(channels)
    for label in labels:
        _check_form(run[label])
    rows = _aligned.events_of(run, labels)
    read = _aligned.read(run, labels, rows, digest=False, progress=progress)
    key = slice(rows.start, rows.stop) if isinstance(rows, range) else rows
    numbers, times = run._ids()
    columns: dict[str, Any] = {"time": _times(as_datetimes(times)[key])}
    for column in read:
        channel = Channel(run, column.channel, View(rows, aligned=True))
        columns |= _columns(channel, Values(column), status=status, age=age)
    return pd.DataFrame(columns, index=_numbers(numbers[key]))


def _numbers(numbers: NDArray[np.uint32]) -> pd.Index[Any]:
    return pd.Index(np.atleast_1d(numbers), name="event_number")


def _times(times: NDArray[np.datetime64]) -> pd.DatetimeIndex:
    return pd.DatetimeIndex(np.atleast_1d(times)).tz_localize("UTC")


def _is_table(channel: Channel) -> bool:
    """Return whether a row is a number for each member, a list of records or a text."""
    if channel.kind in (Kind.TEXT, Kind.NAME_VALUE):
        return True
    return channel.kind != Kind.NONE and set(channel.dims) <= {"event", "member"}


def _check_form(channel: Channel) -> None:
    if channel.kind != Kind.NONE and not _is_table(channel):
        sizes = " x ".join(
            f"{size} {name}s" for name, size in zip(channel.dims, channel.shape, strict=True) if name != "event"
        )
        raise AccessError(
            f"A row of {channel.label} has {sizes}, and a table has numbers: take a part of a channel, as in "
            f"run[{channel.label!r}][..., 0].pandas(), or use .xarray()"
        )


def _columns(channel: Channel, values: Values, *, status: bool, age: bool) -> dict[str, Any]:
    label, columns = channel.label, _numbers_of(channel, values)
    if status:
        columns[f"{label}.status"] = np.atleast_1d(values.status)
    if age and channel.details.is_slow:
        columns[f"{label}.age"] = np.atleast_1d(values.age)
    return columns


def _numbers_of(channel: Channel, values: Values) -> dict[str, Any]:
    """Return the columns of a channel's values by their names."""
    label = channel.label
    if channel.kind == Kind.NAME_VALUE and channel._view.record is None:
        numbers, _ = values.records()
        names = _distinct(f"{label}:{name}" for name in values.column.record_names)
        return dict(zip(names, np.atleast_2d(numbers).T, strict=True))
    array = values.masked()
    if "member" not in channel.dims:
        name = channel._view.record or (channel.members[0] if _is_part_of_members(channel) else "")
        return {f"{label}:{name}" if name else label: _column(array)}
    names = [f"{label}:{name}" for name in channel.members]
    return {name: _column(array[..., place]) for place, name in enumerate(names)}


def _is_part_of_members(channel: Channel) -> bool:
    return len(channel.details.members) > 1 and len(channel.members) == 1


def _column(array: np.ma.MaskedArray[Any, Any]) -> Any:
    """Return a column; of integers of which some are missing a nullable one."""
    data, mask = np.atleast_1d(array.data), np.atleast_1d(np.ma.getmaskarray(array))
    if data.ndim != 1:
        raise AccessError("Rows that differ in shape are no column of a table: use .awkward() or .arrow()")
    if data.dtype.kind in "ui" and mask.any():
        return pd.arrays.IntegerArray(data.copy(), mask)
    return data


def _distinct(names: Iterable[str]) -> list[str]:
    """Return names, of which the second that is the same ends in "#2"."""
    made: list[str] = []
    seen: dict[str, int] = {}
    for name in names:
        seen[name] = seen.get(name, 0) + 1
        made.append(name if seen[name] == 1 else f"{name}#{seen[name]}")
    return made


def of_ledger(ledger: Ledger) -> pd.DataFrame:
    """Return a row for each channel of a ledger."""
    rows = [
        {"expected": one.expected, "delivered": one.delivered, "missing": one.missing}
        | {cause.name.lower(): one.missing_by(cause) for cause in MissingCause}
        for one in ledger.channels
    ]
    names = ["expected", "delivered", "missing", *(cause.name.lower() for cause in MissingCause)]
    index = pd.Index([one.channel for one in ledger.channels], name="channel", dtype=object)
    return pd.DataFrame(rows, index=index, columns=names).astype(np.int64)


def of_index(indexes: Sequence[ChannelIndex]) -> pd.DataFrame:
    """Return a row for each value of channels."""
    lengths = [len(one) for one in indexes]
    ages = [one.ages_us if len(one.ages_us) else np.zeros(len(one), dtype=np.int64) for one in indexes]
    codes = np.zeros(256, dtype=np.intp)
    codes[[status.value for status in IndexStatus]] = np.arange(len(IndexStatus))
    statuses = _joined([one.status for one in indexes], np.uint8)
    return pd.DataFrame(
        {
            "channel": _categories(np.repeat(np.arange(len(indexes)), lengths), [one.channel for one in indexes]),
            "event_number": _joined([one.numbers for one in indexes], np.uint32),
            "time": _times(as_datetimes(_joined([one.times_us for one in indexes], np.int64))),
            "status": _categories(codes[statuses], [status.name for status in IndexStatus]),
            "age": _joined(ages, np.int64).view("timedelta64[us]"),
        }
    )


def _categories(codes: NDArray[np.intp], names: Sequence[str]) -> pd.Categorical[Any]:
    return pd.Categorical.from_codes(codes, categories=pd.Index(list(names)))


def _joined(arrays: Sequence[NDArray[Any]], dtype: Any) -> NDArray[Any]:
    return np.concatenate([*arrays, np.empty(0, dtype=dtype)]).astype(dtype, copy=False)
