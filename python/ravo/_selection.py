"""From what a caller gives to a selection: text, keywords, paths."""

from __future__ import annotations

import errno
import os
from collections.abc import Iterable
from typing import TypeAlias

from ravo._core import Partition, Selection, join_or, near_names
from ravo._errors import FilesNotFound, SelectionError
from ravo._times import TimeLike, text_of_time

PathLike: TypeAlias = "str | os.PathLike[str]"
What: TypeAlias = "str | os.PathLike[str] | Iterable[os.PathLike[str]] | Selection | Partition | None"

_WORDS = {
    "run": "run",
    "chan": "chan",
    "event": "event",
    "step": "step",
    "limit": "limit",
    "synch": "synch",
    "tolerance": "tolerance",
    "join": "join",
    "slow": "slow",
    "max_age": "max_age",
    "catalog": "catalog",
    "data": "data",
}


def quoted(value: str) -> str:
    """Return a value as the text form of a selection takes it, whatever characters it holds."""
    made = []
    for byte in os.fsencode(value):
        character = chr(byte)
        if character in '"\\':
            made.append("\\" + character)
        elif 0x20 <= byte < 0x7F:
            made.append(character)
        else:
            made.append(f"\\x{byte:02X}")
    return '"' + "".join(made) + '"'


def _list(value: str | os.PathLike[str] | Iterable[str | os.PathLike[str]]) -> list[str]:
    if isinstance(value, (str, os.PathLike)):
        return [os.fspath(value)]
    return [os.fspath(one) for one in value]


def _range(value: object) -> str:
    """Return "7", "7-9", "7-" or "-9" of a number, a pair or slice of numbers, or a text."""
    if isinstance(value, range) and value.step == 1 and len(value) > 0:
        value = (value[0], value[-1])
    if isinstance(value, slice):
        value = (value.start, value.stop)
    if isinstance(value, (tuple, list)) and len(value) == 2:
        return "-".join("" if end is None else str(end) for end in value)
    return str(value)


def _words(key: str, value: object) -> list[str]:
    if key in ("run", "event"):
        return [f"{key}={_range(value)}"]
    if key == "chan":
        return [f"chan={quoted(one)}" for one in _list(value)]  # type: ignore[arg-type]
    return [f"{_WORDS[key]}={quoted(str(value))}"]


def make_selection(
    what: What,
    *,
    file: PathLike | Iterable[PathLike] | None = None,
    experiment: str | None = None,
    stream: str | None = None,
    start: TimeLike | None = None,
    end: TimeLike | None = None,
    **words: object,
) -> Selection:
    """Make the selection of ``ravo.open`` and its like. Paths become absolute.

    Raises
    ------
    SelectionError
        If a word or a value cannot be read.
    TypeError
        For a keyword that does not exist.
    """
    unknown = words.keys() - _WORDS.keys()
    if unknown:
        raise TypeError(f"A selection has no {', '.join(sorted(unknown))}; it has {', '.join(_WORDS)}")
    files = [] if file is None else _list(file)
    text: list[str] = []
    if isinstance(what, Selection):
        text.append(what.to_text())
    elif isinstance(what, Partition):
        text.append(what.text)
    elif isinstance(what, str):
        text.append(_checked_text(what))
    elif what is not None:
        files += _list(what)
    for key, value in words.items():
        if value is not None:
            text += _words(key, value)
    if start is not None:
        text.append(f"from={quoted(text_of_time(start))}")
    if end is not None:
        text.append(f"to={quoted(text_of_time(end))}")
    text += [f"file={quoted(path)}" for path in files]
    selection = Selection.parse(" ".join(text))
    if experiment is not None:
        selection.experiment = experiment
    if stream is not None:
        selection.stream = stream
    return selection.with_absolute_paths()


def check_listed_files(selection: Selection) -> None:
    """Check that files and folders that a selection lists are there: another name is a mistake of the caller's.

    Raises
    ------
    FilesNotFound
        With names that are spelt nearly alike.
    """
    from pathlib import Path

    for path in (*selection.files, *selection.context):
        if not Path(path).exists():
            folder = Path(path).parent
            names = sorted(one.name for one in folder.iterdir()) if folder.is_dir() else []
            near = [str(folder / name) for name in near_names(Path(path).name, names)]
            meant = f"; did you mean {join_or(near)}?" if near else ""
            there = "" if folder.is_dir() else f", and no folder {folder}"
            error = FilesNotFound(f"There is no file or folder {path}{there}{meant}")
            error.errno, error.filename = errno.ENOENT, path
            raise error


def _checked_text(text: str) -> str:
    """Return the text; a text that is a path rather than a selection is refused with the remedy."""
    from pathlib import Path

    if "=" not in text and Path(text).exists():
        raise SelectionError(
            f'The text "{text}" is read as a selection, which begins with EXPERIMENT/STREAM; '
            f"for the path of that name write Path({text!r}) or file={text!r}"
        )
    return text
