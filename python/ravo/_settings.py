"""Fields of settings, set with messages that name them."""

from __future__ import annotations


def assign(settings: object, **values: object) -> None:
    """Set fields of settings. A value that its field cannot hold is a ``ValueError`` that names both."""
    for name, value in values.items():
        try:
            setattr(settings, name, value)
        except TypeError:
            raise ValueError(f"{name} is {value!r}, which is of the wrong type or out of range") from None
