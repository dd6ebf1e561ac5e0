"""Sizes in bytes, as people write them."""

from __future__ import annotations

import re

_SIZE = re.compile(r"\s*(\d+(?:\.\d+)?)\s*([kMGT]?)(i?)B?\s*", re.IGNORECASE)
_POWERS = {"": 0, "k": 1, "m": 2, "g": 3, "t": 4}


def bytes_of(size: int | str) -> int:
    """Return a number of bytes: 1000000, "100 MB" (of 1000), "64 MiB" (of 1024).

    Raises
    ------
    ValueError
        For a text that is no size.
    """
    if isinstance(size, int):
        return size
    found = _SIZE.fullmatch(size)
    if found is None:
        raise ValueError(f'A size is a number of bytes or a text such as "100 MB" or "64 MiB", not {size!r}')
    number, prefix, binary = found.groups()
    return int(float(number) * (1024 if binary else 1000) ** _POWERS[prefix.lower()])


def text_of(size: int) -> str:
    """Return a number of bytes for people: "512 B", "3.8 MB"."""
    number = float(size)
    for unit in ("B", "kB", "MB", "GB"):
        if number < 1000:
            return f"{number:.0f} {unit}" if unit == "B" else f"{number:.1f} {unit}"
        number /= 1000
    return f"{number:.1f} TB"
