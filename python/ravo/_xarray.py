"""Values as xarray has them: arrays with named dimensions, coordinates and attributes."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

import numpy as np
import xarray as xr
from numpy.typing import NDArray

from ravo import _aligned, _labels
from ravo._channel import Channel, View
from ravo._core import Kind
from ravo._labels import STATUS_ATTRS, Coordinate, Coordinates
from ravo._progress import Progress
from ravo._times import as_datetimes
from ravo._values import Values, has_value

if TYPE_CHECKING:
    from ravo._run import Run


@dataclass(frozen=True)
class Labelled:
    """The values of a channel, read or not, with all that xarray keeps beside them."""

    dims: tuple[str, ...]
    data: Any
    coordinates: Coordinates  # of the dimensions of a row
    status_dims: tuple[str, ...]
    status: Any
    age: NDArray[np.timedelta64] | None
    attrs: dict[str, Any]


def is_of_records(channel: Channel) -> bool:
    """Return whether the values are lists of records, which are arrays (event, record) here."""
    return channel.kind == Kind.NAME_VALUE and channel._view.record is None


def labelled(channel: Channel, values: Values, fill: Any) -> Labelled:
    """Return values that were read, with their labels."""
    column = values.column
    attrs = _labels.attributes(channel.details, channel._members_in_view(), column)
    age = values.age if channel.details.is_slow and len(column.ages_us) else None
    if is_of_records(channel):
        data, status = values.records()
        if fill is not None:
            data = np.where(has_value(status), data, np.asarray(fill, dtype=data.dtype))
        dims = (*channel.dims, "record")
        return Labelled(dims, data, _labels.of_values(channel, values), dims, status, age, attrs)
    data = values.numpy(fill=fill)
    dims, coordinates = channel.dims, _labels.of_values(channel, values)
    if data.ndim != len(dims):  # rows that differ in shape
        dims, coordinates = dims[: data.ndim], {}
    return Labelled(dims, data, coordinates, dims[: values.status.ndim], values.status, age, attrs)


def data_array(channel: Channel, values: Values, fill: Any) -> xr.DataArray:
    """Return values that were read as a labelled array."""
    made = labelled(channel, values, fill)
    coordinates = _labels.of_events(values.event, values.time) | made.coordinates
    coordinates["status"] = Coordinate(made.status_dims, made.status, STATUS_ATTRS)
    if made.age is not None:
        coordinates["age"] = _of_age(made.age)
    return xr.DataArray(
        made.data,
        dims=made.dims,
        coords={name: (one.dims, one.values, one.attrs) for name, one in coordinates.items()},
        name=channel.label,
        attrs=made.attrs | _labels.provenance(channel.run),
    )


def dataset(run: Run, labels: Sequence[str], *, fill: Any, digest: bool, progress: Progress) -> xr.Dataset:
    """Read channels, and return them aligned by event."""
    rows = _aligned.events_of(run, labels)
    columns = _aligned.read(run, labels, rows, digest=digest, progress=progress)
    made = {
        column.channel: labelled(
            Channel(run, column.channel, View(rows, aligned=True)), Values(column), _fill_of(fill, column.channel)
        )
        for column in columns
    }
    return assembled(run, made, rows)


def _fill_of(fill: Any, label: str) -> Any:
    return fill.get(label) if isinstance(fill, dict) else fill


def assembled(run: Run, channels: dict[str, Labelled], rows: _aligned.EventRows) -> xr.Dataset:
    """Return the dataset of channels at the same events."""
    key = slice(rows.start, rows.stop) if isinstance(rows, range) else rows
    numbers, times = run._ids()
    coordinates = _labels.of_events(numbers[key], as_datetimes(times)[key])
    names = _names_of_labels(channels)
    variables: dict[str, xr.Variable] = {}
    seen: set[int] = set()
    for label, one in channels.items():
        of_channel = names[label]
        dims = tuple([of_channel.get(dim, dim) for dim in one.dims])
        variables[label] = xr.Variable(dims, one.data, one.attrs, fastpath=True)
        if one.status is not None:
            of_status = dims[: len(one.status_dims)]
            variables[f"{label}.status"] = xr.Variable(of_status, one.status, STATUS_ATTRS, fastpath=True)
        if one.age is not None:
            age = _of_age(one.age)
            variables[f"{label}.age"] = xr.Variable(age.dims, age.values, age.attrs)
        if id(one.coordinates) not in seen:
            seen.add(id(one.coordinates))
            for name, coordinate in one.coordinates.items():
                dims = tuple(of_channel.get(dim, dim) for dim in coordinate.dims)
                coordinates.setdefault(of_channel[name], Coordinate(dims, coordinate.values, coordinate.attrs))
    return xr.Dataset(
        variables,
        coords={name: (one.dims, one.values, one.attrs) for name, one in coordinates.items()},
        attrs=_labels.provenance(run),
    )


def _names_of_labels(channels: dict[str, Labelled]) -> dict[str, dict[str, str]]:
    """Return of each channel the name that each of its dimensions and coordinates has in the dataset.

    It is the plain name, unless channels differ in it: then it is that of the first channel that has
    the same, and the plain name: "LINAC/RF/001.sample".
    """
    owners: dict[str, dict[Any, str]] = {}
    of_form: dict[Any, dict[str, Any]] = {}  # what is common to channels of one form
    forms: dict[str, Any] = {}
    for label, one in channels.items():
        form = forms[label] = (one.dims, one.data.shape, id(one.coordinates))
        if form not in of_form:
            of_form[form] = _signatures(one)
            for name, signature in of_form[form].items():
                owners.setdefault(name, {}).setdefault(signature, label)
    names = {
        form: {
            name: name if len(owners[name]) == 1 else f"{owners[name][signature]}.{name}"
            for name, signature in signatures.items()
        }
        for form, signatures in of_form.items()
    }
    return {label: names[form] for label, form in forms.items()}


def _signatures(one: Labelled) -> dict[str, Any]:
    """Return of each dimension and coordinate what two channels that share it have in common."""
    sizes = dict(zip(one.dims, one.data.shape, strict=True))
    names = [*one.dims[1:], *(name for name in one.coordinates if name not in one.dims)]
    return {name: _signature(name, one, sizes) for name in names}


def _signature(name: str, one: Labelled, sizes: dict[str, int]) -> Any:
    coordinate = one.coordinates.get(name)
    if coordinate is None:
        return sizes.get(name)
    values = np.asarray(coordinate.values)
    related = tuple(_signature(dim, one, sizes) for dim in coordinate.dims if dim != name)
    return related, values.tobytes(), str(sorted(coordinate.attrs.items()))


def _of_age(age: NDArray[np.timedelta64]) -> Coordinate:
    return Coordinate(("event",)[: np.ndim(age)], age, {"long_name": "how much older than its event the value is"})
