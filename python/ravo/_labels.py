"""Coordinates and attributes of values, for everything that has labelled dimensions."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, TypeAlias

import numpy as np
from numpy.typing import NDArray

from ravo._core import Column, Description, Kind, Member, Part, Status
from ravo._core import version as ravo_version

if TYPE_CHECKING:
    from ravo._channel import Channel
    from ravo._run import Run
    from ravo._values import Values

Attrs: TypeAlias = "dict[str, Any]"

STATUS_ATTRS: Attrs = {
    "long_name": "outcome of each value",
    "flag_values": np.array([status.value for status in Status], dtype=np.uint8),
    "flag_meanings": " ".join(status.name.lower() for status in Status),
}


@dataclass(frozen=True)
class Coordinate:
    """Labels along dimensions, in the terms of xarray: dims, values, attrs."""

    dims: tuple[str, ...]
    values: Any
    attrs: dict[str, Any] = field(default_factory=dict)


Coordinates: TypeAlias = "dict[str, Coordinate]"


def of_events(numbers: NDArray[np.uint32], times: NDArray[np.datetime64]) -> Coordinates:
    """Return the coordinates of events: ``event``, the index, ``event_number`` and ``time``.

    ``event`` holds the numbers too, so that ``sel(event=...)`` takes events by their numbers, as
    `Channel.sel` does. A single event has scalars.
    """
    dims = ("event",) if numbers.ndim else ()
    return {
        "event": Coordinate(dims, numbers, {"long_name": "event number"}),
        "event_number": Coordinate(dims, numbers, {"long_name": "event number"}),
        "time": Coordinate(dims, times, {"long_name": "time (UTC)"}),
    }


def of_values(channel: Channel, values: Values | None = None) -> Coordinates:
    """Return the coordinates of the dimensions of a row.

    ``member``: names, and ``unit`` where members have different ones. ``record``: names. ``axis``: of
    samples, float64; of each row where ``values`` say that rows differ, and of each group where groups
    are apart. ``y`` and ``x``: pixels from the first one.
    """
    if channel.kind == Kind.NAME_VALUE:
        return _of_records(channel, values)
    made: Coordinates = {}
    keys = dict(zip(channel._row_dims, channel._other_keys, strict=True))
    if "member" in keys:
        made |= _of_members(channel)
    for dim in ("y", "x"):
        if dim in keys:
            key = keys[dim]
            attrs = {"units": "pixel", "long_name": dim}
            made[dim] = Coordinate(*_positions(dim, key), attrs)
    if "sample" in keys:
        made["axis"] = _of_samples(channel, keys, values)
    if "profile" in keys:
        made |= _of_profiles(channel, keys["profile"], values)
    return made


def _positions(dim: str, key: int | range) -> tuple[tuple[str, ...], Any]:
    return ((), key) if isinstance(key, int) else ((dim,), np.asarray(key))


def _of_members(channel: Channel) -> Coordinates:
    names, units = np.array(channel.members), [member.unit for member in channel._members_in_view()]
    if "member" not in channel.dims:
        return {"member": Coordinate((), names[0] if len(names) else "")}
    made = {"member": Coordinate(("member",), names)}
    if len(set(units)) > 1:
        made["unit"] = Coordinate(("member",), np.array(units), {"long_name": "unit of the member"})
    return made


def _of_records(channel: Channel, values: Values | None) -> Coordinates:
    if channel._view.record is not None:
        return {"record": Coordinate((), channel._view.record)}
    names = list(channel.members) if values is None else values.column.record_names
    return {"record": Coordinate(("record",), np.array(names, dtype=np.str_))}


def _of_samples(channel: Channel, keys: dict[str, int | range], values: Values | None) -> Coordinate:
    """Return the axis of samples; with dimensions for groups that are apart, and for rows that differ."""
    details, sample, group = channel.details, keys["sample"], keys.get("group")
    steps = np.atleast_1d(sample).astype(np.float64)
    axes = np.array(details.axis, dtype=np.float64)
    if values is not None and len(values.column.axes):
        axes = values.column.axes.astype(np.float64)[values._row_key]
        steps -= np.min(steps) if len(steps) else 0  # these axes begin at the first sample that was read
    start, increment, of_group = (axes[..., place, np.newaxis, np.newaxis] for place in range(3))
    has_groups = group is not None and bool(np.any(of_group))
    groups = np.atleast_1d(group if has_groups else 0).astype(np.float64)
    places = start + of_group * groups[:, np.newaxis] + increment * steps
    dims = (*(("event",) if axes.ndim == 2 else ()), "group", "sample")
    kept = [*([True] if axes.ndim == 2 else []), has_groups and isinstance(group, range), isinstance(sample, range)]
    places = places[tuple(slice(None) if keep else 0 for keep in kept)]
    attrs = {"long_name": details.axis_label, "units": details.axis_unit}
    return Coordinate(
        tuple(dim for dim, keep in zip(dims, kept, strict=True) if keep),
        places,
        {name: text for name, text in attrs.items() if text},
    )


def _of_profiles(channel: Channel, key: int | range, values: Values | None) -> Coordinates:
    """Return of each pixel of a region's two profiles which one it is of, and its place on the sensor."""
    column = _first_row(channel) if values is None else values.column
    if len(column) == 0 or column.is_ragged or len(channel.details.members) != 2:
        return {}
    _, width, height = column.shape_of_row(0)
    start, increment, _, y_start = column.axis
    names = np.array([member.name for member in channel.details.members]).repeat([width, height])
    places = np.concatenate([start + increment * np.arange(width), y_start + increment * np.arange(height)])
    dims, taken = _positions("profile", key)
    attrs = {"units": channel.details.axis_label} if channel.details.axis_label == "pixel" else {}
    return {"profile": Coordinate(dims, names[taken]), "axis": Coordinate(dims, places[taken], attrs)}


def _first_row(channel: Channel) -> Column:
    part = Part()
    part.count = 1
    return channel._run._dataset.column(channel.label, part)


def attributes(details: Description, members: Sequence[Member] | None = None, column: Column | None = None) -> Attrs:
    """Return what values say of themselves: ``units`` and ``long_name``, and what was read.

    ``units`` is there if all members, or those that are given, have the same one. ``ravo_missing``
    counts values that a file should hold and that could not be delivered, ``ravo_digest`` is of what
    was read.
    """
    units = {member.unit for member in (details.members if members is None else members)}
    unit = details.unit if units <= {""} else units.pop() if len(units) == 1 else ""
    attrs: Attrs = {}
    if unit:
        attrs["units"] = unit
    if description := details.description:
        attrs["long_name"] = description
    if column is not None:
        attrs["ravo_missing"] = column.ledger.missing
        if column.digest is not None:
            attrs["ravo_digest"] = column.digest.text
    return attrs


def provenance(run: Run) -> Attrs:
    """Return the selection that opens the run again, and the version of the package."""
    return {"ravo_selection": run.selection, "ravo_version": ravo_version}
