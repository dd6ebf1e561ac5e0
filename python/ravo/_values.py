"""Values that were read: arrays that never hide that a value is missing."""

from __future__ import annotations

from functools import cached_property
from typing import Any, TypeAlias

import numpy as np
from numpy.typing import NDArray

from ravo._core import Column, Kind, Ledger, Status
from ravo._errors import MissingValues, ShapeError
from ravo._times import as_datetimes

Key: TypeAlias = "int | slice | NDArray[np.intp]"

_HAS_VALUE = np.zeros(256, dtype=bool)
_HAS_VALUE[[status.value for status in Status if status.has_value]] = True


class Values:
    """What was read of a channel: values, and for each row its event, time and status.

    ``Channel.read`` and ``Run.batches`` make it. Arrays are read-only and share memory with the
    reading where no part had to be cut out.

    Examples
    --------
    >>> values = run["LINAC/BPM/001"][:10].read()
    >>> values.numpy().shape, values.status.max()
    ((10, 3, 64), np.uint8(0))
    """

    def __init__(
        self,
        column: Column,
        keys: tuple[Key, ...] = (),
        record: str | None = None,
        row_shape: tuple[int, ...] | None = None,
    ) -> None:
        """Wrap a column. ``keys`` cut rows and dimensions; ``record`` is of name-value lists.

        ``row_shape`` has the dimensions that a column lacks since a single position of them was read.
        """
        self._row_shape = row_shape
        self._column = column
        self._row_key: Key = keys[0] if keys else slice(None)
        self._other_keys = keys[1:]
        self._record = record

    @property
    def column(self) -> Column:
        """The column as it was read, of which these values are all or a part."""
        return self._column

    @property
    def kind(self) -> Kind:
        """What kind of data the values are."""
        return self._column.kind

    @property
    def ledger(self) -> Ledger:
        """What was expected, delivered and missing in this reading."""
        return self._column.ledger

    @property
    def event(self) -> NDArray[np.uint32]:
        """The event number of each row."""
        return np.asarray(self._column.numbers[self._row_key])

    @property
    def time(self) -> NDArray[np.datetime64]:
        """The time of each row, ``datetime64[us]`` in UTC."""
        return np.asarray(as_datetimes(self._column.times_us)[self._row_key])

    @property
    def status(self) -> NDArray[np.uint8]:
        """The outcome of each row, as numbers of `Status`."""
        return np.asarray(self._statuses()[self._row_key])

    @property
    def age(self) -> NDArray[np.timedelta64]:
        """How much older than its event each held value is, ``timedelta64[us]``; 0 of others."""
        ages = self._column.ages_us
        if len(ages) == 0:
            ages = np.zeros(len(self._column), dtype=np.int64)
        return np.asarray(ages.view("timedelta64[us]")[self._row_key])

    @property
    def missing(self) -> int:
        """How many rows have no value."""
        return int(np.size(self._has_value) - np.count_nonzero(self._has_value))

    def _statuses(self) -> NDArray[np.uint8]:
        if self._record is None:
            return self._column.status
        names = self._column.record_names
        if self._record in names:
            return self._column.record_status[:, names.index(self._record)]
        status = self._column.status.copy()
        status[_HAS_VALUE[status]] = Status.NOT_RECORDED
        return status

    @cached_property
    def _has_value(self) -> NDArray[np.bool_]:
        return _HAS_VALUE[self.status]

    def numpy(self, *, fill: Any = None) -> NDArray[Any]:
        """Return the values as an array: rows first, then the dimensions of a row.

        Parameters
        ----------
        fill
            What rows without a value hold. Left out: NaN in floats, None in objects, and an error
            in integers.

        Returns
        -------
        ndarray
            float32, uint8, uint16 or uint32; of texts, name-value lists and rows that differ in
            shape an array of objects: str, dict of name and number, or ndarray.

        Raises
        ------
        MissingValues
            For integers of which some are missing, if ``fill`` is not given.
        """
        array = self._array()
        if fill is None:
            if array.dtype.kind in "ui" and self.missing:
                raise MissingValues(self._refusal())
            return array
        if not self.missing:
            return array
        filled = array.copy()
        filled[~self._has_value] = fill
        return filled

    def masked(self) -> np.ma.MaskedArray[Any, Any]:
        """Return the values as a masked array, in which rows without a value are masked."""
        array = self._array()
        shape = self._has_value.shape + (1,) * (array.ndim - self._has_value.ndim)
        mask = np.broadcast_to(~self._has_value.reshape(shape), array.shape)
        return np.ma.MaskedArray(array, mask=mask.copy())

    def _refusal(self) -> str:
        statuses = self.status[~self._has_value] if self.status.ndim else self.status.reshape(1)
        worst = Status(int(statuses[0]))
        return (
            f"{self.missing} of {np.size(self.status)} values of {self._column.channel} are missing (the first: "
            f"{worst.text}), and {self._column.dtype} has no number for that: "
            f"pass fill=, or use .masked() or .status"
        )

    def _array(self) -> NDArray[Any]:
        if self._column.kind == Kind.NAME_VALUE:
            return self._records()
        if self._column.kind == Kind.TEXT:
            return _taken(_objects(self._column.texts()), self._row_key)
        if self._column.is_ragged:
            if self._other_keys:
                raise ShapeError(
                    f"The rows of {self._column.channel} differ in shape, so only whole rows can be taken: "
                    f"read them, and cut each of them"
                )
            return _taken(_objects(self._ragged_rows()), self._row_key)
        values = self._column.values
        if not self._other_keys and isinstance(self._row_key, slice) and self._row_key == slice(None):
            return values
        if self._row_shape is not None:
            values = values.reshape(len(self._column), *self._row_shape)
        return np.asarray(values[(self._row_key, *self._other_keys)])

    def _records(self) -> NDArray[Any]:
        names = self._column.record_names
        values = self._column.values.reshape(len(self._column), len(names))
        if self._record is not None:
            if self._record in names:
                return np.asarray(values[:, names.index(self._record)][self._row_key])
            return np.full(len(self._column), np.nan, dtype=np.float32)[self._row_key]
        present = self._column.record_status.reshape(values.shape)
        rows: list[object] = []
        for row, has_value in enumerate(_HAS_VALUE[self._column.status]):
            pairs = zip(names, values[row].tolist(), _HAS_VALUE[present[row]], strict=True)
            rows.append({name: value for name, value, there in pairs if there} if has_value else None)
        return _taken(_objects(rows), self._row_key)

    def records(self) -> tuple[NDArray[np.float32], NDArray[np.uint8]]:
        """Return name-value lists as numbers and statuses, both (rows, records), in the order of the names.

        The names are ``column.record_names``. A record that a list lacks is NaN, with the status
        NOT_RECORDED.
        """
        shape = (len(self._column), len(self._column.record_names))
        status = self._column.record_status.reshape(shape)
        return self._column.values.reshape(shape)[self._row_key], status[self._row_key]

    def _ragged_rows(self) -> list[object]:
        column = self._column
        rows: list[object] = []
        for row, has_value in enumerate(_HAS_VALUE[column.status]):
            begin, end = int(column.offsets[row]), int(column.offsets[row + 1])
            shape = [size for _, size in column.dimensions_of_row(row)]
            rows.append(column.values[begin:end].reshape(shape) if has_value else None)
        return rows

    def __len__(self) -> int:
        """Return the number of rows."""
        return len(self.event)

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> NDArray[Any]:
        """Return `numpy()`, for NumPy's functions."""
        array = self.numpy()
        if dtype is not None and array.dtype != dtype:
            return array.astype(dtype)
        return array.copy() if copy else array

    def __repr__(self) -> str:
        """Return channel, shape and what is missing."""
        return f"<ravo.Values of {self._column.channel}: {np.size(self.status)} rows, {self.missing} missing>"


def _objects(rows: list[Any]) -> NDArray[Any]:
    """Return a one-dimensional array of objects, also where these are arrays."""
    array = np.empty(len(rows), dtype=object)
    for index, row in enumerate(rows):
        array[index] = row
    return array


def _taken(objects: NDArray[Any], key: Key) -> NDArray[Any]:
    """Return rows; a single one as it is if it is an array, else as an array without dimensions."""
    taken = objects[key]
    if isinstance(taken, np.ndarray):
        return taken
    single = np.empty((), dtype=object)
    single[()] = taken
    return single


def has_value(status: NDArray[np.uint8]) -> NDArray[np.bool_]:
    """Return of each status whether it comes with a value."""
    return _HAS_VALUE[status]


def is_all(key: Key) -> bool:
    """Return whether a key takes everything as it is."""
    return isinstance(key, slice) and key == slice(None)
