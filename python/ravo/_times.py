"""Times: what a caller gives, and ``datetime64[us]`` in UTC."""

from __future__ import annotations

import datetime
import re
import time
from typing import TypeAlias

import numpy as np
from numpy.typing import NDArray

from ravo import _core
from ravo._errors import SelectionError

TimeLike: TypeAlias = "str | int | float | datetime.datetime | np.datetime64"

_CLOCK = re.compile(r"\d{1,2}:\d{2}(:\d{2}(\.\d*)?)?")
_EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.UTC)


def as_datetimes(times_us: NDArray[np.int64]) -> NDArray[np.datetime64]:
    """Return microseconds since 1970 as ``datetime64[us]``, without a copy."""
    return times_us.view("datetime64[us]")


def as_datetime(time_us: int) -> np.datetime64:
    """Return microseconds since 1970 as a ``datetime64[us]``."""
    return np.datetime64(time_us, "us")


def day_of(time_us: int) -> str:
    """Return "YYYY-MM-DD" of microseconds since 1970, UTC."""
    return str(as_datetime(time_us).astype("datetime64[D]"))


def text_of_time(value: TimeLike) -> str:
    """Return a time as the text form of a selection takes it: texts as they are, others in UTC."""
    if isinstance(value, str):
        return value
    return f"{np.datetime64(microseconds(value), 'us')}Z"


def microseconds(value: TimeLike, span: tuple[int, int] | None = None) -> int:
    """Return a time in microseconds since 1970, UTC.

    Parameters
    ----------
    value
        A text such as "2025-03-01T08:00" (UTC unless it says otherwise), seconds since 1970, a
        ``datetime`` (UTC if it has no zone) or a ``datetime64``.
    span
        First and last time of the data. A time of day without a date is on their day.

    Raises
    ------
    SelectionError
        For a text that is no time, and for a time of day where the data lie on several days.
    """
    if isinstance(value, np.datetime64):
        return int(value.astype("datetime64[us]").astype(np.int64))
    if isinstance(value, datetime.datetime):
        zoned = value if value.tzinfo is not None else value.replace(tzinfo=datetime.UTC)
        return (zoned - _EPOCH) // datetime.timedelta(microseconds=1)
    if isinstance(value, (int, float, np.integer, np.floating)):
        return round(float(value) * 1_000_000) if isinstance(value, (float, np.floating)) else int(value) * 1_000_000
    text = value.strip()
    if _CLOCK.fullmatch(text) and span is not None:
        first, last = day_of(span[0]), day_of(span[1])
        if first != last:
            raise SelectionError(
                f'The time of day "{text}" is on {first} or on {last}, since the data lie on both days; '
                f'write "{first}T{text}" or "{last}T{text}"'
            )
        text = f"{first}T{text.zfill(5) if len(text) < 5 else text}"
    try:
        return _core.read_time_us(text, time.time_ns() // 1000, None if span is None else span[0])
    except ValueError as error:
        raise SelectionError(str(error)) from None
