"""Raw files with known content, of an accelerator that does not exist."""

from __future__ import annotations

import os
from collections.abc import Iterable, Mapping
from dataclasses import dataclass
from typing import TYPE_CHECKING, Literal, TypeAlias

from ravo import _core
from ravo._progress import Progress, reporting
from ravo._settings import assign
from ravo._times import TimeLike, microseconds

if TYPE_CHECKING:
    from pathlib import Path

GenerationName: TypeAlias = Literal["current", "older"]

_KINDS = (
    "bpms",
    "toroids",
    "rfs",
    "spectra",
    "energies",
    "cameras",
    "cameras_ext",
    "profiles",
    "slows",
    "environments",
    "statuses",
    "messages",
)


@dataclass(frozen=True)
class Simulated:
    """What `ravo.simulate` wrote.

    Attributes
    ----------
    files
        Paths of the files that are there, in the order of runs and files.
    events
        Events of all types.
    blocks
        Values: one for each channel of an event.
    channels
        Channels, with the six special ones that are always there.
    answer_key
        Path of the answer key; None if there is none.
    """

    files: tuple[Path, ...]
    events: int
    blocks: int
    channels: int
    answer_key: Path | None


def generation_of(name: str) -> _core.Generation:
    """Return the generation of the raw format by its name."""
    if name == "current":
        return _core.Generation.CURRENT
    if name == "older":
        return _core.Generation.OLDER
    raise ValueError(f'generation is "{name}"; it is current or older')


def _counts(channels: int | Mapping[str, int] | None) -> _core.SimulatedChannels:
    if channels is None:
        return _core.SimulatedChannels()
    if isinstance(channels, int):
        if channels < _core.FEWEST_SIMULATED_CHANNELS:
            raise ValueError(f"channels is {channels}; it must be at least {_core.FEWEST_SIMULATED_CHANNELS}")
        return _core.distribute_channels(channels)
    unknown = channels.keys() - set(_KINDS)
    if unknown:
        raise ValueError(
            f"There are no channels of the kind {', '.join(sorted(unknown))}; there are {', '.join(_KINDS)}"
        )
    counts = _core.SimulatedChannels()
    for kind in _KINDS:
        assign(counts, **{kind: channels.get(kind, 0)})
    return counts


def _fault(text: str | tuple[str, int]) -> tuple[str, int]:
    if not isinstance(text, str):
        return text
    kind, at, number = text.partition("@")
    if at and not number.isdecimal():
        raise ValueError(f'After the "@" of "{text}" comes the number of a file')
    return kind, int(number) if at else 1


def fault_kinds() -> dict[str, str]:
    """Return what `ravo.simulate` can damage: the meaning of each kind of fault by its name.

    Examples
    --------
    >>> import ravo
    >>> ravo.fault_kinds()["truncated"]
    'the end is cut off, within the reference table'
    """
    return dict(_core.simulated_fault_kinds())


def simulate(
    folder: str | os.PathLike[str],
    *,
    run: int = 1,
    runs: int = 1,
    files: int = 2,
    events: int = 100,
    channels: int | Mapping[str, int] | None = None,
    generation: GenerationName = "current",
    seed: int = 1,
    rate: float = 10.0,
    start: TimeLike = "2025-03-01T08:00:00Z",
    first_event: int = 1_000_000,
    compression: Literal["mixed", "none", "zlib", "lzo"] = "mixed",
    zlib_level: int = 6,
    experiment: str = "linac",
    stream: str = "main",
    faults: Iterable[str | tuple[str, int]] = (),
    answer_key: str | os.PathLike[str] | None = None,
    progress: Progress = None,
) -> Simulated:
    """Write raw files of a simulated accelerator; the same settings give the same bytes everywhere.

    Each file appears under its name when it is complete and on disk.

    Parameters
    ----------
    folder
        Folder for the files; it is made if it does not exist.
    run, runs, files, events
        Number of the first run, runs, files of each run, and events with beam in each file.
    channels
        Channels in all (20 or more), distributed among the kinds, or how many of each kind: ``bpms``,
        ``toroids``, ``rfs``, ``spectra``, ``energies``, ``cameras``, ``cameras_ext``, ``profiles``, ``slows``,
        ``environments``, ``statuses``, ``messages``. In addition there are always LINAC/BPM/HALF_RATE,
        LINAC/TOROID/GAPS, LINAC/RF/LATE, LINAC/TOROID/SPARE, LINAC/RUN/BEGIN and LINAC/RUN/END.
    generation
        Of the raw format.
    seed
        Another seed gives other values.
    rate
        Events a second.
    start, first_event
        Time (UTC) and number of the first event.
    compression, zlib_level
        How values are stored; "mixed" takes zlib, none and LZO in turn.
    experiment, stream
        The first parts of the file names.
    faults
        Damage of files: "KIND" or "KIND@FILE", or pairs of both, with files counted from 1 over all runs.
        `ravo.fault_kinds` lists the kinds. Beside a damaged FILE stands FILE.expected.json, with what
        `ravo.verify` has to find.
    answer_key
        Path of a file for a JSON line of each value that was written.
    progress
        True for a progress bar, or a function of the events done and of all.

    Raises
    ------
    ValueError
        For a setting out of its range.
    SimulationError
        If a file cannot be written, or has nothing that could be damaged as was asked.

    Examples
    --------
    >>> import tempfile
    >>> import ravo
    >>> with tempfile.TemporaryDirectory() as folder:
    ...     made = ravo.simulate(folder, events=10, channels={"bpms": 2, "messages": 1})
    ...     run = ravo.open(file=made.files)
    ...     run["LINAC/BPM/001"].shape
    (20, 3, 64)
    """
    what = _core.Simulation()
    assign(what, folder=os.fspath(folder), experiment=experiment, stream=stream)
    assign(what, run=run, runs=runs, files=files, events=events, seed=seed, rate=rate, first_event=first_event)
    assign(what, zlib_level=zlib_level, counts=_counts(channels), generation=generation_of(generation))
    what.start_us = microseconds(start)
    what.set_compression(compression)
    for kind, number in map(_fault, faults):
        what.add_fault(kind, number)
    what.answer_key = "" if answer_key is None else os.fspath(answer_key)
    with reporting(progress, "simulating", unit="events") as report:
        made = _core.simulate(what, report)
    from pathlib import Path

    there = tuple(Path(file.path) for file in made.files if file.bytes is not None)
    return Simulated(there, made.events, made.blocks, made.channels, None if answer_key is None else Path(answer_key))
