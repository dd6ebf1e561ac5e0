"""A run for all that speaks Zarr: the function; the class is in `ravo._zarr_store`."""

from __future__ import annotations

from collections.abc import Iterable
from typing import TYPE_CHECKING, Literal

from ravo._run import Run, _rows
from ravo._sizes import bytes_of

if TYPE_CHECKING:
    from ravo._zarr_store import RunStore


def zarr_store(
    run: Run,
    *,
    chunk: int | str = "1 MiB",
    rows: Literal["recorded", "events"] = "recorded",
    ragged: Iterable[str] = (),
    fill: int | None = None,
    cache: int | str = "64 MiB",
) -> RunStore:
    """Return a live Zarr store of a run, format 3: chunks are decoded when they are asked for.

    A channel is a group by its name, and LINAC/BPM/001 has the arrays

    - ``value`` (event, and the dimensions of a row), float32 or unsigned integers;
    - ``status`` (event,) uint8, numbers of `Status`; ``flag_meanings`` in its attributes;
    - ``event_number`` (event,) uint32, and ``time`` (event,) int64, microseconds since 1970, UTC;
    - ``age`` (event,) int64, microseconds, of held slow values;
    - ``axis`` (event, 4) float32 of spectra: start, increment, increment of groups, start of a second
      profile, of each row; ``sample`` (sample,) float64, the coordinates by the first row;
    - ``record_status`` (event, record) uint8 of name-value lists, whose names are the attribute ``records``.

    Texts, frames that are no pictures, and channels whose files describe other shapes have rows of
    different lengths: ``value`` (element,) holds them back to back, row i from ``offsets[i]`` up to
    ``offsets[i + 1]``, and ``shapes`` (event, 3) has the shape of each.

    Rows without a value hold NaN. Integers have no NaN: they hold the greatest number of their type
    (255 of uint8), or ``fill``; only the status says for sure. Metadata are consolidated; the only codec
    is ``bytes``. To list the lengths of ragged channels and the records of name-value lists, these are
    read once, when the store is first asked for its metadata.

    Parameters
    ----------
    run
        An open run.
    chunk
        About how many bytes a chunk has decoded: an integer, or a text such as "1 MiB". One row at least.
    rows
        "recorded": a row for every event that the channel has; "events": for every event of the run.
    ragged
        Channels to lay out back to back although they are not described as such. A reading of a channel
        whose rows turn out to differ in shape raises `SelectionError`, which says to name it here.
    fill
        What integers without a value hold.
    cache
        How many decoded bytes are kept, since values and statuses of a chunk are asked for one by one.

    Returns
    -------
    zarr.abc.store.Store
        Read-only, safe for threads and event loops, pickled as the selection.

    Raises
    ------
    ImportError
        Without the package zarr.
    SelectionError
        If ``ragged`` names a channel that the run does not have.

    Examples
    --------
    >>> import xarray
    >>> store = ravo.zarr_store(ravo.open(folder, chan="LINAC/BPM/*"))
    >>> bpm = xarray.open_zarr(store, group="LINAC/BPM/001")
    >>> bpm.value.dims, bpm.value.shape, bpm.value.attrs["members"]
    (('event', 'member', 'sample'), (200, 3, 64), ['X', 'Y', 'CHARGE'])
    """
    try:
        from ravo._zarr_layout import Options
        from ravo._zarr_store import RunStore
    except ImportError as error:
        raise ImportError("ravo.zarr_store needs the package zarr: pip install 'ravo[archive]'") from error
    options = Options(bytes_of(chunk), bytes_of(cache), _rows(rows), frozenset(ragged), fill)
    return RunStore(run, options)
