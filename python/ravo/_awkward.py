"""Values as Awkward arrays have them: rows of any length."""

from __future__ import annotations

from typing import Any

import awkward as ak
import numpy as np
from numpy.typing import NDArray

from ravo._core import Column, Kind
from ravo._values import Values, has_value


def of_values(values: Values) -> Any:
    """Return values as an Awkward array; rows without a value are None."""
    if values._other_keys or values._record is not None:
        array = values._array()
        return _masked(ak.contents.NumpyArray(np.ascontiguousarray(array)), values.status) if array.ndim else array[()]
    column = values.column
    if column.kind == Kind.NAME_VALUE:
        whole = _records(column)
    elif column.kind == Kind.TEXT:
        whole = _masked(_texts(column), column.status)
    elif column.is_ragged:
        whole = _masked(_nested(column), column.status)
    else:
        whole = _masked(ak.contents.NumpyArray(column.values), column.status)
    return whole[values._row_key]


def _masked(content: Any, status: NDArray[np.uint8]) -> Any:
    """Return an array in which rows without a value are None."""
    valid = has_value(status)
    if valid.all():
        return ak.Array(content)
    if isinstance(content, ak.contents.NumpyArray):
        content = content.to_RegularArray()
    return ak.Array(ak.contents.ByteMaskedArray(ak.index.Index8(valid.astype(np.int8)), content, valid_when=True))


def _records(column: Column) -> Any:
    numbers, statuses = Values(column).records()
    fields = [
        _masked(ak.contents.NumpyArray(np.ascontiguousarray(numbers[:, place])), statuses[:, place]).layout
        for place in range(numbers.shape[1])
    ]
    return _masked(ak.contents.RecordArray(fields, column.record_names, length=len(column)), column.status)


def _texts(column: Column) -> Any:
    offsets = column.offsets.astype(np.int64)
    if not column.is_ragged:
        each = len(column.values) // max(1, len(column))
        offsets = np.arange(len(column) + 1, dtype=np.int64) * each
    letters = ak.contents.NumpyArray(column.values, parameters={"__array__": "char"})
    return ak.contents.ListOffsetArray(ak.index.Index64(offsets), letters, parameters={"__array__": "string"})


def _nested(column: Column) -> Any:
    """Return rows as lists; of more than one dimension as lists of lists."""
    content: Any = ak.contents.NumpyArray(column.values)
    shapes = column.shapes.astype(np.int64)
    valid = has_value(column.status)
    shapes[~valid] = 0
    is_grid = bool((shapes.prod(axis=1) == np.diff(column.offsets.astype(np.int64))).all())
    if column.kind not in (Kind.SPECTRUM, Kind.IMAGE) or not is_grid:
        return ak.contents.ListOffsetArray(ak.index.Index64(column.offsets.astype(np.int64)), content)
    levels = [level for level in range(3) if level == 2 or (shapes[valid, level] != 1).any()]
    for level in reversed(levels):
        lists = shapes[:, levels[: levels.index(level)]].prod(axis=1)
        content = ak.contents.ListOffsetArray(ak.index.Index64(_offsets(shapes[:, level].repeat(lists))), content)
    return content


def _offsets(lengths: NDArray[np.int64]) -> NDArray[np.int64]:
    return np.concatenate([np.zeros(1, dtype=np.int64), np.cumsum(lengths)])
