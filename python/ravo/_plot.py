"""Plots of channels by matplotlib. What is missing is seen: lines have gaps, and marks say what and how much."""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass, field
from itertools import product
from typing import TYPE_CHECKING, Any, TypeAlias

import matplotlib.dates
import matplotlib.pyplot as plt
import numpy as np
from matplotlib.axes import Axes
from matplotlib.ticker import MaxNLocator
from numpy.typing import NDArray

from ravo._core import BinAxis, Kind, Status
from ravo._errors import AccessError
from ravo._times import as_datetimes
from ravo._values import _HAS_VALUE as HAS_VALUE

if TYPE_CHECKING:
    from ravo._availability import Availability
    from ravo._channel import Channel

# Values that are in memory at a time where many are reduced to few.
_PIECE_BYTES = 32 << 20
# A line is broken where rows are farther apart than this many times what is usual.
_GAP = 1.5
_LONGEST_SELECTION = 60
# Rows of an availability plot that have their channel's name beside them.
_MOST_NAMES = 100


def plot(channel: Channel, ax: Axes | None, x: str, bins: int) -> Axes:
    """Draw a channel as its kind is drawn best; see `Channel.plot`."""
    if x not in ("time", "event"):
        raise ValueError(f'x= is "time" or "event", not {x!r}')
    kind, dims = channel.kind, channel.dims
    if kind in (Kind.TEXT, Kind.OTHER):
        what = "texts" if kind == Kind.TEXT else "bytes of no known structure"
        raise AccessError(f"{channel.label} holds {what}, which have no plot; run[{channel.label!r}].numpy() has them")
    if kind == Kind.NONE:
        raise AccessError(f"{channel.label} has no value that can be read, so there is nothing to draw; see its status")
    if dims in ((), ("member",)):
        raise AccessError(f"This part of {channel.label} is a number, not a series; print it, or select more events")
    inner = [dim for dim in dims if dim != "event"]
    if ax is None:
        ax = plt.subplots(layout="constrained")[1]
    if inner in ([], ["member"]):
        _draw_series(channel, ax, x, bins)
    elif inner == ["y", "x"]:
        _draw_image(channel, ax)
    else:
        _draw_waveforms(channel, ax)
    return ax


# ---- numbers over time


@dataclass
class _Series:
    """One line: a number for each place, and the least and greatest where it stands for several."""

    name: str
    middle: NDArray[np.float64]
    least: NDArray[np.float64] | None = None
    greatest: NDArray[np.float64] | None = None


def _draw_series(channel: Channel, ax: Axes, x: str, bins: int) -> None:
    if len(channel) <= 2 * bins:
        places, series, missing = _all_values(channel, x)
    else:
        places, series, missing = (_envelope if channel._is_whole else _reduced)(channel, x, bins)
    is_slow = channel.details.is_slow and series[0].least is None
    for number, one in enumerate(series):
        line = ax.plot(
            places,
            one.middle,
            drawstyle="steps-post" if is_slow else "default",
            marker="." if len(places) <= 100 else None,
            label=one.name or ("value" if one.least is None else "mean"),
            zorder=3,
        )[0]
        if one.least is not None and one.greatest is not None:
            ax.fill_between(
                places,
                one.least,
                one.greatest,
                color=line.get_color(),
                alpha=0.3,
                linewidth=0,
                label="least to greatest" if number == 0 else None,
            )
    _mark_missing(ax, missing)
    ax.ticklabel_format(axis="y", useOffset=False)
    if x == "time":
        _name_times(ax)
    else:
        ax.xaxis.set_major_locator(MaxNLocator(6, integer=True))
        ax.ticklabel_format(axis="x", style="plain", useOffset=False)
        ax.set_xlabel("event number")
    ax.set_ylabel(_value_label(channel))
    _finish(channel, ax)


@dataclass
class _Missing:
    """What is missing: where, how many, with which statuses; and the ends of gaps between the rows."""

    places: NDArray[Any]
    count: int
    statuses: set[Status]
    gaps: list[tuple[Any, Any]] = field(default_factory=list)

    @property
    def text(self) -> str:
        """For people: "3 missing: the checksum is wrong"."""
        return f"{self.count} missing: " + ", ".join(sorted(status.text for status in self.statuses))


_Drawn: TypeAlias = "tuple[NDArray[Any], list[_Series], _Missing]"


def _all_values(channel: Channel, x: str) -> _Drawn:
    lines, status = _lines_of(channel)
    places = channel.time if x == "time" else channel.event.astype(np.int64)
    missing = ~HAS_VALUE[status]
    found = _Missing(places[missing], int(missing.sum()), _statuses_of(status[missing]))
    if channel.details.is_slow:
        return places, lines, found
    gaps = _gaps(channel.event)
    found.gaps = [(places[gap - 1], places[gap]) for gap in gaps]
    for line in lines:
        line.middle = np.insert(line.middle, gaps, np.nan)
    return np.insert(places, gaps, places[gaps]), lines, found


def _lines_of(channel: Channel) -> tuple[list[_Series], NDArray[np.uint8]]:
    """Return the lines, NaN where a number is missing, and the statuses of the rows."""
    read = channel.read()
    if channel.kind != Kind.NAME_VALUE or channel._view.record is not None:
        values = np.asarray(read.masked().data, dtype=np.float64).reshape(len(channel), -1)
        values[~HAS_VALUE[read.status]] = np.nan
        return [_Series(name, values[:, place]) for place, name in enumerate(_member_names(channel))], read.status
    names = read.column.record_names  # of all rows, where the description has those of one list
    records = read.column.values.reshape(len(read.column), len(names))[read._row_key].astype(np.float64)
    return [_Series(name, records[:, place]) for place, name in enumerate(names)], read.status


def _gaps(events: NDArray[np.uint32]) -> NDArray[np.intp]:
    """Return the rows before which there is a gap: events that the channel usually has."""
    steps = np.abs(np.diff(events.astype(np.int64)))
    return np.flatnonzero(steps > _GAP * np.median(steps)) + 1 if len(steps) > 1 else np.empty(0, dtype=np.intp)


def _envelope(channel: Channel, x: str, bins: int) -> _Drawn:
    """Let the dataset reduce a whole channel, so that no value is kept and none is passed over."""
    made = channel.envelope(bins, by=x)
    middles = (made.edges[:-1] + made.edges[1:]) // 2
    if made.axis == BinAxis.TIME:
        places: NDArray[Any] = as_datetimes(middles)
    else:
        numbers = channel.run.event
        places = numbers[np.minimum(middles, len(numbers) - 1)].astype(np.int64)
    is_named = channel.kind != Kind.NAME_VALUE and len(_member_names(channel)) == len(made.series)
    names = _member_names(channel) if is_named else [one.name for one in made.series]
    lines = [
        _Series(name, *(_blank(numbers, one.count) for numbers in (one.mean, one.least, one.greatest)))
        for name, one in zip(names, made.series, strict=True)
    ]
    where = made.missing > 0
    return places, lines, _Missing(places[where], int(made.missing.sum()), _statuses_of(made.worst[where]))


def _reduced(channel: Channel, x: str, bins: int) -> _Drawn:
    """Reduce a part of a channel to bins of as many rows, piece by piece."""
    rows = len(channel)
    edges = np.linspace(0, rows, bins + 1).astype(np.intp)
    names = _member_names(channel)
    shape = (len(names), bins)
    total, count = np.zeros(shape), np.zeros(shape)
    least, greatest = np.full(shape, np.inf), np.full(shape, -np.inf)
    missing = np.zeros(bins, dtype=np.intp)
    statuses: set[Status] = set()
    for first, piece in _pieces(channel):
        read = piece.read()
        has_value = HAS_VALUE[read.status]
        which = np.searchsorted(edges, np.arange(first, first + len(piece)), side="right") - 1
        np.add.at(missing, which[~has_value], 1)
        statuses |= _statuses_of(read.status[~has_value])
        numbers = np.asarray(read.masked().data, dtype=np.float64).reshape(len(piece), -1)
        for line in range(len(names)):
            good = has_value & np.isfinite(numbers[:, line])
            np.add.at(total[line], which[good], numbers[good, line])
            np.add.at(count[line], which[good], 1)
            np.minimum.at(least[line], which[good], numbers[good, line])
            np.maximum.at(greatest[line], which[good], numbers[good, line])
    middles = np.minimum((edges[:-1] + edges[1:]) // 2, rows - 1)
    places = channel.time[middles] if x == "time" else channel.event[middles].astype(np.int64)
    means = total / np.maximum(count, 1)
    lines = [
        _Series(name, *(_blank(numbers[line], count[line]) for numbers in (means, least, greatest)))
        for line, name in enumerate(names)
    ]
    return places, lines, _Missing(places[missing > 0], int(missing.sum()), statuses)


def _blank(numbers: NDArray[Any], count: NDArray[Any]) -> NDArray[np.float64]:
    return np.where(count > 0, numbers, np.nan)


def _name_times(ax: Axes) -> None:
    locator = matplotlib.dates.AutoDateLocator()  # type: ignore[no-untyped-call]
    ax.xaxis.set_major_locator(locator)
    ax.xaxis.set_major_formatter(matplotlib.dates.ConciseDateFormatter(locator))  # type: ignore[no-untyped-call]
    ax.set_xlabel("time (UTC)")


# ---- waveforms and profiles


def _draw_waveforms(channel: Channel, ax: Axes) -> None:
    reduction = _Reduction(channel)
    inner = [dim for dim in channel.dims if dim != "event"]
    label = {"x": "x [pixel]", "y": "y [pixel]", "profile": "position [pixel]"}.get(inner[-1], inner[-1])
    axis = channel.axis
    if inner[-1] == "sample" and axis is not None:
        label = _with_unit(axis.label or "sample", axis.unit)
    if reduction.count:
        for number, (name, places, part) in enumerate(_waveforms(channel, inner, reduction)):
            mean, least, greatest = (one.reshape(-1)[part] for one in reduction.results())
            line = ax.plot(places, mean, label=name or ("mean" if reduction.count > 1 else "value"), zorder=3)[0]
            if reduction.count > 1:
                band = "least to greatest" if number == 0 else None
                ax.fill_between(places, least, greatest, color=line.get_color(), alpha=0.3, linewidth=0, label=band)
    _mark_missing(ax, reduction.missing)
    ax.set_xlabel(label)
    what = f"mean of {reduction.count} events, " if reduction.count > 1 else ""
    ax.set_ylabel(what + _value_label(channel))
    _finish(channel, ax)


def _waveforms(channel: Channel, inner: list[str], reduction: _Reduction) -> Iterator[tuple[str, NDArray[Any], slice]]:
    """Yield name and places of each line, and where it is in a flat row."""
    size = channel.shape[-1]
    x_size, y_size = reduction.row_shape[1:]
    if inner == ["profile"] and size == x_size + y_size:
        x_start, step, _, y_start = channel.details.axis
        yield "X", x_start + step * np.arange(x_size), slice(0, x_size)
        yield "Y", y_start + step * np.arange(y_size), slice(x_size, size)
        return
    axis = channel.axis
    places = axis.values if inner[-1] == "sample" and axis is not None else np.arange(size, dtype=np.float64)
    for number, name in enumerate(_line_names(channel, inner[:-1])):
        yield name, places, slice(number * size, (number + 1) * size)


def _line_names(channel: Channel, dims: list[str]) -> list[str]:
    names: list[list[str]] = []
    for dim in dims:
        size = channel.shape[channel.dims.index(dim)]
        names.append(_member_names(channel) if dim == "member" else [f"{dim} {place}" for place in range(size)])
    return [", ".join(parts) for parts in product(*names)]


class _Reduction:
    """Mean, least and greatest of the rows of a channel, which are of one shape, read piece by piece."""

    def __init__(self, channel: Channel) -> None:
        self.count = 0
        self.row_shape = [1, 0, 0]
        self.missing = _Missing(np.empty(0), 0, set())
        shape = tuple(size for dim, size in zip(channel.dims, channel.shape, strict=True) if dim != "event")
        self._total = np.zeros(shape)
        self._least, self._greatest = np.full(shape, np.inf), np.full(shape, -np.inf)
        for _, piece in _pieces(channel):
            self._add(piece)

    def _add(self, piece: Channel) -> None:
        read = piece.read()
        if read.column.is_ragged:
            raise AccessError(f"The rows of {piece.label} differ in shape; select events of one shape")
        status = np.atleast_1d(read.status)
        has_value = HAS_VALUE[status]
        self.missing.count += int((~has_value).sum())
        self.missing.statuses |= _statuses_of(status[~has_value])
        values = np.asarray(read.masked().data, dtype=np.float64)
        values = (values if "event" in piece.dims else values[np.newaxis])[has_value]
        if len(values):
            self.count += len(values)
            self.row_shape = read.column.shape_of_row(0)
            self._total += values.sum(axis=0)
            self._least = np.minimum(self._least, values.min(axis=0))
            self._greatest = np.maximum(self._greatest, values.max(axis=0))

    def results(self) -> tuple[NDArray[np.float64], NDArray[np.float64], NDArray[np.float64]]:
        """Return mean, least and greatest; there has to be a value."""
        return self._total / self.count, self._least, self._greatest


# ---- pictures


def _draw_image(channel: Channel, ax: Axes) -> None:
    reduction = _Reduction(channel)
    height, width = channel.shape[-2:]
    what = f"mean of {reduction.count} events" if reduction.count > 1 else "pixel value"
    if reduction.count:
        shown = ax.imshow(reduction.results()[0], cmap="viridis", aspect="equal", interpolation="nearest")
        figure = ax.get_figure()
        assert figure is not None
        figure.colorbar(shown, ax=ax, label=_with_unit(what, channel.unit))
    else:
        ax.set(xlim=(-0.5, width - 0.5), ylim=(height - 0.5, -0.5), aspect="equal")
    _mark_missing(ax, reduction.missing)
    ax.set_xlabel("x [pixel]")
    ax.set_ylabel("y [pixel]")
    _finish(channel, ax)


# ---- what all plots have


def _pieces(channel: Channel) -> Iterator[tuple[int, Channel]]:
    """Yield the first row and a part of so many rows that they fit into little memory."""
    if "event" not in channel.dims:
        yield 0, channel
        return
    row_bytes = 8 * max(1, int(np.prod([one.size for one in channel.details.dimensions])))
    step = max(1, _PIECE_BYTES // row_bytes)
    for first in range(0, len(channel), step):
        yield first, channel[first : first + step]


def _statuses_of(status: NDArray[np.uint8]) -> set[Status]:
    return {Status(int(one)) for one in np.unique(status)}


def _mark_missing(ax: Axes, missing: _Missing) -> None:
    """Mark each place without a value at the bottom; where no axis has such places only the legend says it."""
    for number, (begin, end) in enumerate(missing.gaps):
        label = f"{len(missing.gaps)} gaps: not recorded" if number == 0 else None
        ax.axvspan(begin, end, color="0.9", linewidth=0, zorder=1, label=label)
    if missing.count == 0:
        return
    heights = np.full(len(missing.places), 0.02)
    if len(missing.places):
        ax.plot(
            missing.places,
            heights,
            "|",
            color="tab:red",
            markersize=10,
            transform=ax.get_xaxis_transform(),
            label=missing.text,
            zorder=4,
        )
    else:
        ax.plot([], [], "x", color="tab:red", label=missing.text)


def _member_names(channel: Channel) -> list[str]:
    """Return a name for each line, with its unit where units differ; of a single line none."""
    members = channel._members_in_view()
    if "member" not in channel.dims:
        return [""]
    differ = len({member.unit for member in members}) > 1
    return [_with_unit(member.name, member.unit) if differ else member.name for member in members]


def _value_label(channel: Channel) -> str:
    members = channel._members_in_view()
    units = {member.unit for member in members if member.unit}
    name = members[0].name.lower() if len(members) == 1 and channel.kind == Kind.SPECTRUM else "value"
    if len(members) > 1 and len(units) > 1:
        return "value, unit as in the legend"
    return _with_unit(name, next(iter(units), channel.unit))


def _with_unit(name: str, unit: str) -> str:
    return f"{name} [{unit}]" if unit else name


def _finish(channel: Channel, ax: Axes) -> None:
    """Add title and legend."""
    _, labels = ax.get_legend_handles_labels()
    if len(labels) > 1 or any("missing" in label or "gaps" in label for label in labels):
        ax.legend(fontsize="small")
    about = f"{channel.label}: {channel.description}" if channel.description else channel.label
    selection = channel.run.selection
    if len(selection) > _LONGEST_SELECTION:
        selection = selection[: _LONGEST_SELECTION - 1] + "\N{HORIZONTAL ELLIPSIS}"
    # No formulas: names and paths may have a dollar sign.
    ax.set_title(f"{about}\n{_span(channel)}\n{selection}", fontsize="small", loc="left", parse_math=False)


def _span(channel: Channel) -> str:
    times, events = np.atleast_1d(channel.time), np.atleast_1d(channel.event)
    if not len(times):
        return "no events"
    first, last = (str(times[which].astype("datetime64[ms]")).replace("T", " ") for which in (0, -1))
    if len(times) == 1:
        return f"{first} UTC, event {events[0]}"
    if first[:10] == last[:10]:
        last = last[11:]
    return f"{first} to {last} UTC, {len(events)} events, {events[0]} to {events[-1]}"


# ---- availability


def plot_availability(found: Availability, ax: Axes | None) -> Axes:
    """Draw when which channels have values; see `Availability.plot`."""
    channels = found.channels
    if ax is None:
        ax = plt.subplots(figsize=(8, 1.5 + 0.18 * min(len(channels), _MOST_NAMES)), layout="constrained")[1]
    edges: Any = found.edges
    rows = np.arange(len(channels) + 1) - 0.5
    recorded = np.asarray([one.recorded for one in channels], dtype=np.float64)
    most = np.maximum(recorded.max(axis=1, keepdims=True, initial=1), 1)
    shown = ax.pcolormesh(
        edges, rows, np.where(recorded > 0, recorded / most, np.nan), cmap="viridis_r", vmin=0, vmax=1
    )
    figure = ax.get_figure()
    assert figure is not None
    figure.colorbar(shown, ax=ax, label="recorded values, of the most in a bin")
    middles = edges[:-1] + np.diff(edges) // 2
    for attribute, colour, label in (
        ("damaged", "tab:orange", "tables disagree"),
        ("is_file_missing", "tab:red", "file missing"),
    ):
        where = np.argwhere(np.asarray([getattr(one, attribute) for one in channels]).reshape(len(channels), -1) > 0)
        if len(where):
            ax.plot(middles[where[:, 1]], where[:, 0], "x", color=colour, label=f"{label}: {len(where)} bins")
            ax.legend(loc="upper right")
    _name_times(ax)
    named = range(0, len(channels), -(-len(channels) // _MOST_NAMES) or 1)
    ax.set_yticks(named, [channels[place].channel for place in named])
    ax.invert_yaxis()
    ax.set_title("When channels have values, by the tables of the files")
    return ax
