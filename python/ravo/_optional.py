"""Packages that only a part of the interface needs."""

from __future__ import annotations

import importlib


def require(module: str, extra: str) -> None:
    """Check that a package can be imported.

    Raises
    ------
    ImportError
        With the command that installs it.
    """
    try:
        importlib.import_module(module)
    except ImportError as error:
        raise ImportError(f"This needs {module}: pip install 'ravo[{extra}]' ({error})") from error
