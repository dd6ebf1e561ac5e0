"""Whether raw files are sound."""

from __future__ import annotations

import os
from collections.abc import Iterable
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Literal

from ravo import _core
from ravo._progress import Progress, reporting
from ravo._selection import make_selection

if TYPE_CHECKING:
    from pathlib import Path

    import pandas as pd

Severity = Literal["odd", "damaged"]
Verdict = Literal["good", "odd", "damaged", "unread"]


@dataclass(frozen=True)
class Finding:
    """Something that is wrong with a file, once or several times.

    Attributes
    ----------
    file
        Path of the file; None for what belongs to no file.
    kind
        A code for programs, such as "block.inflate".
    severity
        "odd": it may be right all the same; "damaged": data are lost, or the file says something wrong of itself.
    channel, event, offset
        The first place: channel, number of the event, position in the file; None where it does not apply.
    count
        How often.
    text, detail, remedy
        What is wrong, what exactly in the first place, and what to do.
    """

    file: Path | None
    kind: str
    severity: Severity
    channel: str | None
    event: int | None
    offset: int | None
    count: int
    text: str
    detail: str | None
    remedy: str
    _line: str = field(repr=False, compare=False)

    def __str__(self) -> str:
        """Return all of it in one line, as ``ravo verify`` prints it."""
        return self._line


@dataclass(frozen=True)
class VerifiedFile:
    """A file that was checked.

    Attributes
    ----------
    path
        Of the file.
    verdict
        "good", "odd", "damaged", or "unread": it cannot be read, or it changed meanwhile.
    bytes, events, blocks
        Its length, its events, and its good blocks.
    findings
        Findings of the report that are about it.
    further_findings
        Those that are not in the report, because there are too many different ones.
    """

    path: Path
    verdict: Verdict
    bytes: int
    events: int
    blocks: int
    findings: int
    further_findings: int


@dataclass(frozen=True)
class Report:
    """What `ravo.verify` found.

    Attributes
    ----------
    files
        The files that were checked, in the order of runs and files.
    findings
        What is wrong with them, file by file.
    channels_of_all_runs
        Names of the channels that have data in every run.
    further_absent
        How many expected channels have no data and no finding of their own, because there are too many.
    """

    files: tuple[VerifiedFile, ...]
    findings: tuple[Finding, ...]
    channels_of_all_runs: tuple[str, ...]
    further_absent: int = 0

    @property
    def is_good(self) -> bool:
        """Whether nothing was found."""
        return not self.findings

    @property
    def is_damaged(self) -> bool:
        """Whether anything was found that is worse than odd."""
        return any(finding.severity == "damaged" for finding in self.findings)

    def __str__(self) -> str:
        """Return the findings, a line each, and the totals."""
        count = dict.fromkeys(("good", "odd", "damaged", "unread"), 0)
        for file in self.files:
            count[file.verdict] += 1
        totals = ", ".join(f"{number} {verdict}" for verdict, number in count.items() if number)
        lines = [str(finding) for finding in self.findings]
        if self.further_absent:
            lines.append(f"{self.further_absent} more expected channels have no data")
        return "\n".join([*lines, f"{len(self.files)} files: {totals or 'none was checked'}"])

    def dataframe(self) -> pd.DataFrame:
        """Return the findings as a table, a row each; needs pandas.

        Examples
        --------
        >>> import ravo
        >>> list(ravo.verify(folder).dataframe().columns)[:4]
        ['file', 'kind', 'severity', 'channel']
        """
        import pandas as pd

        names = ("file", "kind", "severity", "channel", "event", "offset", "count", "text", "detail", "remedy")
        columns = {name: [getattr(finding, name) for finding in self.findings] for name in names}
        columns["file"] = [None if path is None else str(path) for path in columns["file"]]
        table = pd.DataFrame(columns)
        return table.astype({"event": "Int64", "offset": "Int64", "count": "int64"})


def _finding(found: _core.Finding) -> Finding:
    from pathlib import Path

    severity: Severity = "damaged" if found.severity == "damaged" else "odd"

    def text_of(raw: bytes) -> str | None:
        return raw.decode("utf-8", "backslashreplace") or None

    return Finding(
        Path(found.file) if found.file else None,
        found.kind,
        severity,
        text_of(found.channel),
        found.event,
        found.offset,
        found.count,
        found.text,
        text_of(found.detail),
        found.remedy,
        found.to_text(),
    )


def _verdict(text: str) -> Verdict:
    for verdict in ("good", "odd", "damaged"):
        if text == verdict:
            return verdict
    return "unread"


def _wanted(what: object, words: dict[str, object]) -> _core.Verification:
    """Return what is to be checked: paths as they are, runs as the catalogue knows them, else what is found."""
    wanted = _core.Verification()
    if not words and isinstance(what, os.PathLike):
        wanted.paths = [os.fspath(what)]
        return wanted
    if not words and isinstance(what, Iterable) and not isinstance(what, str):
        wanted.paths = [os.fspath(path) for path in what]
        return wanted
    selection = make_selection(what, **words)  # type: ignore[arg-type]
    if selection.runs is not None and not selection.data:
        catalog = selection.catalogue or _core.USUAL_CATALOGUE
        wanted.set_runs(catalog, selection.experiment, selection.stream, *selection.runs)
        return wanted
    # Also those that a reading leaves out: what is wrong with them is a finding.
    wanted.paths = [found.path for found in _core.find_files(selection).all]
    return wanted


def verify(
    what: str | os.PathLike[str] | Iterable[str | os.PathLike[str]] | _core.Selection | None = None,
    *,
    quick: bool = False,
    expect: str | Iterable[str] = (),
    threads: int = 0,
    progress: Progress = None,
    **words: object,
) -> Report:
    """Check whether raw files are sound, from their first byte to their last.

    What is wrong with a file is a finding, not an error: a file that cannot be read has one too. Gaps, time that
    goes back and shifted channels are looked for in a file and from one file of a run to the next, so give all
    files of a run at once.

    Parameters
    ----------
    what
        A path, or several: files, and folders with those below them. Or a selection, as `ravo.open` takes it,
        whose files are checked whole: of a selection with ``run=`` those that the catalogue names, and those
        beside them that it lacks.
    quick
        Check tables and headers alone: much faster.
    expect
        Name of a channel, or names of channels, that should have data in each run.
    threads
        1 to 64; 0: one a core, at most 4.
    progress
        True for a progress bar, or a function of the done and of all bytes.
    **words
        Words of the selection, as `ravo.open` takes them.

    Raises
    ------
    FilesNotFound
        If a selection without ``run=`` names no file.
    VerificationError
        If the catalogue knows none of the runs.
    KeyboardInterrupt
        After Ctrl-C, at once.

    Examples
    --------
    >>> import ravo
    >>> report = ravo.verify(folder)
    >>> report.is_good, len(report.files)
    (True, 2)
    """
    from pathlib import Path

    if not 0 <= threads <= 64:
        raise ValueError(f"threads is {threads}; it must be from 0 to 64")
    wanted = _wanted(what, words)
    wanted.is_quick, wanted.threads = quick, threads
    for channel in [expect] if isinstance(expect, str) else expect:
        wanted.expect(channel)
    with reporting(progress, "verifying") as report:
        found = _core.verify(wanted, report)
    files = tuple(
        VerifiedFile(
            Path(file.path),
            _verdict(file.verdict),
            file.bytes,
            file.events,
            file.blocks,
            file.findings,
            file.further_findings,
        )
        for file in found.files
    )
    return Report(files, tuple(map(_finding, found.findings)), tuple(found.channels_of_all_runs), found.absent_left_out)
