"""A run as the tree of a Zarr hierarchy, format 3: groups, arrays and chunks as bytes.

Nothing here needs the package zarr, which `ravo._zarr_store` wraps around it.
"""

from __future__ import annotations

import json
import math
import threading
from collections import OrderedDict
from collections.abc import Callable, Hashable, Iterator
from dataclasses import dataclass, field
from functools import cached_property
from typing import TYPE_CHECKING, Any, TypeAlias

import numpy as np
from numpy.typing import NDArray

from ravo import _core
from ravo._core import ChannelIndex, Column, Description, Kind, Part, Rows, Status
from ravo._errors import SelectionError
from ravo._values import _HAS_VALUE as HAS_VALUE

if TYPE_CHECKING:
    from ravo._run import Run

Json: TypeAlias = "dict[str, Any]"

_RAGGED_KINDS = (Kind.TEXT, Kind.OTHER)
_ARRAY_NAMES = frozenset(
    ("value", "status", "event_number", "time", "age", "axis", "sample", "offsets", "shapes", "record_status")
)


@dataclass(frozen=True)
class Array:
    """One array of the hierarchy, and what makes its chunks."""

    shape: tuple[int, ...]
    chunk_shape: tuple[int, ...]
    dtype: np.dtype[Any]
    dims: tuple[str, ...]
    fill: float | int
    attributes: Json
    chunk: Callable[[int], NDArray[Any]]  # of the chunk's place along the first dimension; may be short at the end

    @property
    def chunks(self) -> int:
        """The number of chunks, all along the first dimension."""
        return -(-self.shape[0] // self.chunk_shape[0])

    def metadata(self) -> Json:
        """Return what is in ``zarr.json``."""
        little = {"name": "bytes", "configuration": {"endian": "little"}}
        return {
            "zarr_format": 3,
            "node_type": "array",
            "shape": list(self.shape),
            "data_type": self.dtype.name,
            "chunk_grid": {"name": "regular", "configuration": {"chunk_shape": list(self.chunk_shape)}},
            "chunk_key_encoding": {"name": "default", "configuration": {"separator": "/"}},
            "fill_value": "NaN" if math.isnan(self.fill) else self.fill,
            "codecs": [{"name": "bytes"} if self.dtype.itemsize == 1 else little],
            "attributes": self.attributes,
            "dimension_names": list(self.dims),
            "storage_transformers": [],
        }

    def place_of(self, chunk_key: str) -> int | None:
        """Return which chunk a key such as "c/3/0/0" is; None if there is no such chunk."""
        parts = chunk_key.split("/")
        if len(parts) != 1 + len(self.shape) or parts[0] != "c" or any(one != "0" for one in parts[2:]):
            return None
        digits = parts[1]
        is_number = digits.isascii() and digits.isdecimal() and digits == str(int(digits))
        return int(digits) if is_number and int(digits) < self.chunks else None

    def key_of(self, place: int) -> str:
        """Return the key of a chunk below the array's."""
        return "/".join(["c", str(place)] + ["0"] * (len(self.shape) - 1))

    def encoded(self, place: int) -> NDArray[np.uint8]:
        """Return the bytes of a chunk, without a copy if it is whole; beyond the last row it is filled up."""
        values = self.chunk(place).astype(self.dtype.newbyteorder("<"), copy=False)
        if values.shape != self.chunk_shape:
            whole = np.full(self.chunk_shape, self.fill, dtype=values.dtype)
            whole[: len(values)] = values
            values = whole
        return np.ascontiguousarray(values).reshape(-1).view(np.uint8)


@dataclass(frozen=True)
class Options:
    """How a run is laid out; see `ravo.zarr_store`."""

    chunk_bytes: int
    cache_bytes: int
    rows: Rows
    ragged: frozenset[str] = field(default_factory=frozenset)
    fill: int | None = None


class Layout:
    """The keys of the hierarchy of a run, and the bytes of each. Safe for threads."""

    def __init__(self, run: Run, options: Options) -> None:
        self.run = run
        self.options = options
        self._lock = threading.RLock()
        self._decoded = _Cache(options.cache_bytes)
        unknown = options.ragged - set(run)
        if unknown:
            raise SelectionError(f"ragged= names {', '.join(sorted(unknown))}, which the run does not have")

    # ---- keys

    def get(self, key: str) -> NDArray[np.uint8] | None:
        """Return the bytes of a key; None if there is no such key."""
        path, _, last = key.rpartition("/")
        if last == "zarr.json":
            text = self._json(path)
            return None if text is None else np.frombuffer(text, dtype=np.uint8)
        name, separator, rest = key.rpartition("/c/")
        array = self.arrays.get(name) if separator else None
        place = None if array is None else array.place_of("c/" + rest)
        return None if array is None or place is None else array.encoded(place)

    def has(self, key: str) -> bool:
        """Return whether there is a key. Nothing is decoded."""
        return self.size(key) is not None

    def size(self, key: str) -> int | None:
        """Return the number of bytes of a key, None if there is no such key. Nothing is decoded."""
        path, _, last = key.rpartition("/")
        if last == "zarr.json":
            text = self._json(path)
            return None if text is None else len(text)
        name, separator, rest = key.rpartition("/c/")
        array = self.arrays.get(name) if separator else None
        if array is None or array.place_of("c/" + rest) is None:
            return None
        return math.prod(array.chunk_shape) * array.dtype.itemsize

    def keys(self) -> Iterator[str]:
        """Yield all keys."""
        for path in self.groups:
            yield _joined(path, "zarr.json")
        for path, array in self.arrays.items():
            yield f"{path}/zarr.json"
            for place in range(array.chunks):
                yield f"{path}/{array.key_of(place)}"

    def children(self, prefix: str) -> list[str]:
        """Return the names directly below a prefix."""
        inside = prefix.strip("/")
        if inside in self.arrays:
            return ["zarr.json"] + (["c"] if self.arrays[inside].chunks else [])
        if inside in self.groups:
            below = inside + "/" if inside else ""
            names = [path[len(below) :] for path in (*self.groups, *self.arrays) if path and path.startswith(below)]
            return ["zarr.json", *dict.fromkeys(name.partition("/")[0] for name in names)]
        below = inside + "/"
        return list(dict.fromkeys(key[len(below) :].partition("/")[0] for key in self.keys() if key.startswith(below)))

    def _json(self, path: str) -> bytes | None:
        if path in self.arrays:
            return _dumped(self.arrays[path].metadata())
        if path not in self.groups:
            return None
        below = path + "/" if path else ""
        inside = {
            name[len(below) :]: self._group(name) for name in self.groups if name != path and name.startswith(below)
        }
        inside |= {
            name[len(below) :]: array.metadata() for name, array in self.arrays.items() if name.startswith(below)
        }
        # Sorted, so that the children of a group follow each other, as zarr expects.
        consolidated = {"kind": "inline", "must_understand": False, "metadata": dict(sorted(inside.items()))}
        return _dumped(self._group(path) | {"consolidated_metadata": consolidated})

    def _group(self, path: str) -> Json:
        return {"zarr_format": 3, "node_type": "group", "attributes": self.groups[path]}

    # ---- nodes

    @property
    def groups(self) -> dict[str, Json]:
        """The attributes of each group by its path; "" is the root."""
        with self._lock:
            return self._nodes[0]

    @property
    def arrays(self) -> dict[str, Array]:
        """The arrays by their paths."""
        with self._lock:
            return self._nodes[1]

    @cached_property
    def _nodes(self) -> tuple[dict[str, Json], dict[str, Array]]:
        root = {"ravo_selection": self.run.selection, "ravo_version": _core.version}
        groups: dict[str, Json] = {"": root}
        arrays: dict[str, Array] = {}
        indexes = {one.channel: one for one in self.run._dataset.index(None, self.options.rows)}
        for label, details in self.run.describe().items():
            path = path_of(label)
            parts = path.split("/")
            for depth in range(1, len(parts)):
                groups.setdefault("/".join(parts[:depth]), {})
            groups[path] = _attributes_of(label, details)
            tree = _ChannelTree(self, label, details, indexes[label])
            arrays |= {f"{path}/{name}": array for name, array in tree.arrays().items()}
        return groups, arrays

    # ---- for the trees of channels

    def cached(self, key: Hashable, make: Callable[[], dict[str, NDArray[Any]]]) -> dict[str, NDArray[Any]]:
        """Return what was made for a key, or make it."""
        return self._decoded.get(key, make)

    def column(self, label: str, first: int, count: int) -> Column:
        """Read successive rows of a channel."""
        part = Part()
        part.rows, part.first, part.count = self.options.rows, first, count
        return self.run._dataset.column(label, part, None, None)


class _ChannelTree:
    """The arrays of one channel."""

    def __init__(self, layout: Layout, label: str, details: Description, index: ChannelIndex) -> None:
        self._layout = layout
        self._label = label
        self._details = details
        self._kind = details.kind
        self._rows = len(index)
        self._has_ages = len(index.ages_us) > 0
        self._dtype = np.dtype(details.dtype)
        changes = any(change.part == "shape" for change in details.changes)
        is_named = label in layout.options.ragged and self._kind != Kind.NAME_VALUE
        self._is_ragged = changes or is_named or self._kind in _RAGGED_KINDS
        self._records: list[tuple[str, int]] = self._find_records() if self._kind == Kind.NAME_VALUE else []
        self._dims = tuple((one.name, one.size) for one in details.dimensions)
        if self._kind == Kind.NAME_VALUE:
            self._dims = (("record", len(self._records)),)
        self._fill = self._fill_of(layout.options.fill)
        row_bytes = self._dtype.itemsize * math.prod(size for _, size in self._dims)
        self._step = max(1, min(self._rows, layout.options.chunk_bytes // max(1, row_bytes)))

    def arrays(self) -> dict[str, Array]:
        """Return the arrays by name."""
        made = self._ragged_arrays() if self._is_ragged else {"value": self._value()}
        made["status"] = self._of_rows("status", np.uint8, Status.NOT_RECORDED, _status_attributes())
        made["event_number"] = self._of_rows("event_number", np.uint32, 0, {"long_name": "event number"})
        made["time"] = self._of_rows("time", np.int64, 0, _TIME_ATTRIBUTES)
        if self._has_ages:
            made["age"] = self._of_rows("age", np.int64, 0, _AGE_ATTRIBUTES | _COORDINATES)
        if self._kind in (Kind.SPECTRUM, Kind.ROI) and self._dims and not self._is_ragged:
            made["axis"] = self._axes()
            if any(name == "sample" for name, _ in self._dims):
                made["sample"] = self._samples()
        if self._kind == Kind.NAME_VALUE:
            made["record_status"] = self._of_rows(
                "record_status", np.uint8, Status.NOT_RECORDED, _status_attributes(), self._dims
            )
        return made

    # ---- arrays

    def _of_rows(
        self, name: str, dtype: Any, fill: float | int, attributes: Json, dims: tuple[tuple[str, int], ...] = ()
    ) -> Array:
        source = self._index_rows if name in ("event_number", "time", "age") else self._decoded_rows
        sizes = tuple(size for _, size in dims)
        return Array(
            (self._rows, *sizes),
            (self._step, *sizes),
            np.dtype(dtype),
            ("event", *(name for name, _ in dims)),
            fill if isinstance(fill, float) else int(fill),
            attributes,
            lambda place: source(place)[name],
        )

    def _value(self) -> Array:
        attributes = self._value_attributes()
        if self._kind == Kind.NAME_VALUE:
            attributes["records"] = [name for name, _ in self._records]
        return self._of_rows("value", self._dtype, self._fill, attributes, self._dims)

    def _fill_of(self, given: int | None) -> float | int:
        """Return what rows without a value hold: NaN, or in integers, which have none, what stands out."""
        if self._dtype.kind != "u":
            return math.nan
        most = int(np.iinfo(self._dtype).max)
        if given is not None and not 0 <= given <= most:
            raise SelectionError(f"fill={given} does not fit into {self._dtype}, the type of {self._label}")
        return most if given is None else given

    def _axes(self) -> Array:
        names = ["start", "increment", "groups_increment", "y_start"]
        attributes = {"columns": names, "units": self._details.axis_unit} | _COORDINATES
        return self._of_rows("axis", np.float32, math.nan, attributes, (("axis_number", 4),))

    def _samples(self) -> Array:
        size = dict(self._dims)["sample"]
        start, increment, _, _ = self._details.axis
        values = start + increment * np.arange(size, dtype=np.float64)
        attributes = {"long_name": self._details.axis_label or "sample", "units": self._details.axis_unit}
        return Array((size,), (size,), np.dtype(np.float64), ("sample",), math.nan, attributes, lambda _: values)

    def _ragged_arrays(self) -> dict[str, Array]:
        offsets, shapes = self._measure()
        total = int(offsets[-1])
        step = max(1, min(total, self._layout.options.chunk_bytes // self._dtype.itemsize))
        attributes = self._value_attributes() | {
            "ragged": "row i is the elements from offsets[i] up to but without offsets[i + 1]"
        }
        attributes.pop("coordinates")
        value = Array(
            (total,),
            (step,),
            self._dtype,
            ("element",),
            0 if self._dtype.kind == "u" else math.nan,
            attributes,
            lambda place: self._elements(offsets, place * step, min(total, (place + 1) * step)),
        )
        whole = (len(offsets),)
        return {
            "value": value,
            "offsets": Array(whole, whole, np.dtype(np.uint64), ("offset",), 0, {}, lambda _: offsets),
            "shapes": Array(
                (self._rows, 3),
                (max(1, self._rows), 3),
                np.dtype(np.uint32),
                ("event", "shape_number"),
                0,
                {"columns": ["members", "groups or height", "samples, width or bytes"]} | _COORDINATES,
                lambda _: shapes,
            ),
        }

    def _value_attributes(self) -> Json:
        details = self._details
        made: Json = {"ancillary_variables": "status"} | _COORDINATES
        if details.unit:
            made["units"] = details.unit
        if details.description:
            made["long_name"] = details.description
        if any(name in ("member", "profile") for name, _ in self._dims):
            made["members"] = [member.name for member in details.members]
            made["member_units"] = [member.unit for member in details.members]
        return made

    # ---- chunks

    def _index_rows(self, place: int) -> dict[str, NDArray[Any]]:
        def make() -> dict[str, NDArray[Any]]:
            index = self._layout.run._dataset.index([self._label], self._layout.options.rows)[0]
            return {"event_number": index.numbers, "time": index.times_us, "age": index.ages_us}

        whole = self._layout.cached((self._label, "index"), make)
        return {name: array[place * self._step : (place + 1) * self._step] for name, array in whole.items()}

    def _decoded_rows(self, place: int) -> dict[str, NDArray[Any]]:
        return self._layout.cached((self._label, place), lambda: self._decode(place * self._step))

    def _decode(self, first: int) -> dict[str, NDArray[Any]]:
        column = self._layout.column(self._label, first, self._step)
        made: dict[str, NDArray[Any]] = {"status": column.status}
        if self._is_ragged:
            return made
        if self._kind == Kind.NAME_VALUE:
            return made | self._records_of(column)
        values = column.values
        if column.is_ragged or values.shape[1:] != tuple(size for _, size in self._dims):
            raise SelectionError(
                f"The rows of {self._label} differ in shape after row {first}, and its array has one shape; "
                f"lay its rows out back to back by ravo.zarr_store(run, ragged=[{self._label!r}])"
            )
        made["value"] = self._without_missing(values, column.status)
        axes = column.axes
        made["axis"] = axes if len(axes) else _repeated(column.axis, column.status)
        return made

    def _without_missing(self, values: NDArray[Any], status: NDArray[np.uint8]) -> NDArray[Any]:
        """Return the values; in integers, rows without a value hold `_fill_of`."""
        if values.dtype.kind != "u" or HAS_VALUE[status].all():
            return values
        filled = values.copy()
        filled[~HAS_VALUE[status]] = self._fill
        return filled

    def _records_of(self, column: Column) -> dict[str, NDArray[Any]]:
        rows = len(column)
        value = np.full((rows, len(self._records)), np.nan, dtype=np.float32)
        status = np.repeat(column.status[:, np.newaxis], len(self._records), axis=1)
        status[HAS_VALUE[status]] = Status.NOT_RECORDED
        places = {record: place for place, record in enumerate(self._records)}
        given = column.values.reshape(rows, len(column.record_names))
        for which, record in enumerate(_numbered(column.record_names)):
            value[:, places[record]] = given[:, which]
            status[:, places[record]] = column.record_status[:, which]
        return {"status": column.status, "value": value, "record_status": status}

    def _elements(self, offsets: NDArray[np.uint64], begin: int, end: int) -> NDArray[Any]:
        first = int(np.searchsorted(offsets, begin, side="right")) - 1
        last = int(np.searchsorted(offsets, end, side="left"))
        column = self._layout.column(self._label, first, last - first)
        start = int(offsets[first])
        values = column.values.reshape(-1)[begin - start : end - start]
        if len(values) != end - begin:
            raise SelectionError(f"The rows of {self._label} are not as long as when the store was opened")
        return np.asarray(values)

    # ---- what only a reading shows

    def _pieces(self) -> Iterator[Column]:
        part = Part()
        part.rows = self._layout.options.rows
        yield from self._layout.run._dataset.column_chunks(self._label, self._layout.options.chunk_bytes, part)

    def _find_records(self) -> list[tuple[str, int]]:
        return list(dict.fromkeys(record for piece in self._pieces() for record in _numbered(piece.record_names)))

    def _measure(self) -> tuple[NDArray[np.uint64], NDArray[np.uint32]]:
        sizes: list[NDArray[np.uint64]] = [np.zeros(1, dtype=np.uint64)]
        shapes: list[NDArray[np.uint32]] = [np.empty((0, 3), dtype=np.uint32)]
        for piece in self._pieces():
            if piece.is_ragged:
                sizes.append(np.diff(piece.offsets))
                shapes.append(piece.shapes)
            elif len(piece):
                sizes.append(np.full(len(piece), piece.values.size // len(piece), dtype=np.uint64))
                shapes.append(np.asarray([piece.shape_of_row(row) for row in range(len(piece))], dtype=np.uint32))
        return np.cumsum(np.concatenate(sizes), dtype=np.uint64), np.concatenate(shapes)


class _Cache:
    """Arrays that were made last, up to a number of bytes."""

    def __init__(self, limit: int) -> None:
        self._limit = limit
        self._lock = threading.Lock()  # guards the next two
        self._held: OrderedDict[Hashable, dict[str, NDArray[Any]]] = OrderedDict()
        self._bytes = 0

    def get(self, key: Hashable, make: Callable[[], dict[str, NDArray[Any]]]) -> dict[str, NDArray[Any]]:
        with self._lock:
            if key in self._held:
                self._held.move_to_end(key)
                return self._held[key]
        made = make()
        with self._lock:
            if key not in self._held:
                self._held[key] = made
                self._bytes += _size_of(made)
            while self._bytes > self._limit and self._held:
                self._bytes -= _size_of(self._held.popitem(last=False)[1])
        return made


_COORDINATES: Json = {"coordinates": "event_number time"}
_TIME_ATTRIBUTES: Json = {
    "long_name": "time of the event",
    "units": "microseconds since 1970-01-01T00:00:00",
    "calendar": "proleptic_gregorian",
}
_AGE_ATTRIBUTES: Json = {"long_name": "how much older than its event a held value is", "units": "microseconds"}


def _status_attributes() -> Json:
    return {
        "long_name": "outcome of each value",
        "flag_values": [status.value for status in Status],
        "flag_meanings": " ".join(status.name.lower() for status in Status),
        "flags_with_value": [status.value for status in Status if status.has_value],
    } | _COORDINATES


def _attributes_of(label: str, details: Description) -> Json:
    made: Json = {"channel": label, "kind": details.kind.name.lower(), "is_slow": details.is_slow}
    if details.description:
        made["description"] = details.description
    if details.unit:
        made["units"] = details.unit
    return made


def path_of(label: str) -> str:
    """Return the path of a channel's group: its name, with what a path cannot hold as "%" and hexadecimal."""
    return "/".join(_name_of(part, place) for place, part in enumerate(label.split("/")))


def _name_of(part: str, place: int) -> str:
    part = part.replace("%", "%25")
    is_reserved = part == "zarr.json" or part.startswith("__") or (place > 0 and part in (*_ARRAY_NAMES, "c"))
    if not part:
        return "%"
    if is_reserved or not part.strip("."):
        return f"%{ord(part[0]):02X}{part[1:]}"
    return part


def _numbered(names: list[str]) -> list[tuple[str, int]]:
    """Return names with how often each came before: lists may have a name twice."""
    counts: dict[str, int] = {}
    made = []
    for name in names:
        made.append((name, counts.get(name, 0)))
        counts[name] = counts.get(name, 0) + 1
    return made


def _repeated(axis: tuple[float, ...], status: NDArray[np.uint8]) -> NDArray[np.float32]:
    axes = np.full((len(status), 4), np.nan, dtype=np.float32)
    axes[HAS_VALUE[status]] = axis
    return axes


def _size_of(arrays: dict[str, NDArray[Any]]) -> int:
    return sum(array.nbytes for array in arrays.values())


def _joined(path: str, name: str) -> str:
    return f"{path}/{name}" if path else name


def _dumped(value: Json) -> bytes:
    return json.dumps(value, allow_nan=False).encode()
