"""Ledgers and indexes as tables."""

from __future__ import annotations

from collections.abc import Mapping
from typing import TYPE_CHECKING

from ravo._core import ChannelIndex, Ledger
from ravo._optional import require

if TYPE_CHECKING:
    import pandas as pd


def to_pandas(what: Ledger | ChannelIndex | Mapping[str, ChannelIndex]) -> pd.DataFrame:
    """Return a ledger, or the index of channels, as a table.

    Parameters
    ----------
    what
        ``run.ledger`` or ``run.index()``, or one index of these.

    Returns
    -------
    pandas.DataFrame
        Of a ledger a row for each channel, the index ``channel``: ``expected``, ``delivered``, ``missing``
        and of each cause the missing values, int64. Of an index a row for each value: ``channel``,
        ``event_number`` (uint32), ``time`` (``datetime64[us, UTC]``), ``status`` (names of
        `IndexStatus`, categorical), ``age`` (``timedelta64[us]``).

    Raises
    ------
    ImportError
        If pandas is not installed.

    Examples
    --------
    >>> table = ravo.to_pandas(run.index(["LINAC/TOROID/GAPS"]))
    >>> len(table), table.status.unique().tolist()
    (146, ['RECORDED'])
    """
    require("pandas", "pandas")
    from ravo import _pandas

    if isinstance(what, Ledger):
        return _pandas.of_ledger(what)
    return _pandas.of_index([what] if isinstance(what, ChannelIndex) else list(what.values()))
