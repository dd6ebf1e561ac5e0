"""Values as Arrow has them."""

from __future__ import annotations

from collections.abc import Sequence
from typing import TYPE_CHECKING, Any

import numpy as np
import pyarrow as pa
from numpy.typing import NDArray

from ravo import _labels
from ravo._core import Part, Rows, Table
from ravo._progress import Progress, reporting
from ravo._values import Values, has_value, is_all

if TYPE_CHECKING:
    from ravo._run import Run


def of_values(values: Values) -> pa.Array:
    """Return values as an Arrow array; of a single row an array of one."""
    if values._other_keys or values._record is not None:
        array, status = values._array(), np.atleast_1d(values.status)
        return _lists(array[np.newaxis] if values.status.ndim == 0 else array, ~has_value(status))
    whole = pa.array(values.column)
    key = values._row_key
    if is_all(key) or isinstance(key, int):  # a single row was read alone
        return whole
    return whole.take(pa.array(np.arange(len(whole))[key]))


def _lists(array: NDArray[Any], is_null: NDArray[np.bool_]) -> pa.Array:
    """Return rows as lists of a fixed size in lists of a fixed size, some of which are null."""
    if array.ndim == 1:
        return pa.array(array, mask=is_null)
    made = pa.array(np.ascontiguousarray(array).reshape(-1))
    for size in reversed(array.shape[2:]):
        made = pa.FixedSizeListArray.from_arrays(made, size)
    return pa.FixedSizeListArray.from_arrays(made, array.shape[1], mask=pa.array(is_null))


def of_run(run: Run, labels: Sequence[str], progress: Progress) -> pa.Table:
    """Return channels at the events of the run as a table."""
    part = Part()
    part.rows = Rows.EVENTS
    with reporting(progress, f"{len(labels)} channels") as report:
        columns = run._dataset.columns(list(labels), part, report)
    table = pa.table(Table(columns))
    fields = []
    for field in table.schema:
        unit = run[field.name].unit if field.name in run else ""
        fields.append(field.with_metadata({"units": unit}) if unit else field)
    attrs = {name: str(value) for name, value in _labels.provenance(run).items()}
    return table.cast(pa.schema(fields, metadata=attrs))
