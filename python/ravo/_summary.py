"""What a run shows of itself: as text, and as HTML in a notebook."""

from __future__ import annotations

from html import escape
from typing import TYPE_CHECKING

from ravo._core import DatasetChannel, FileRefusal
from ravo._times import as_datetime

if TYPE_CHECKING:
    from ravo._run import Run

MOST_PROBLEMS = 5


def facts(run: Run) -> list[tuple[str, str]]:
    """Return the lines of a summary: a name and a text each. Aligns the events, and decodes nothing."""
    numbers, times = run.event, run.time
    lines = [("selection", run.selection), ("files", _files(run)), ("events", _events(len(numbers), run))]
    if len(numbers):
        lines.append(
            (
                "time",
                f"{as_datetime(int(times[0].astype(int)))} to {as_datetime(int(times[-1].astype(int)))} UTC",
            )
        )
    channels = run._dataset.channels
    slow = sum(channel.is_slow for channel in channels)
    lines.append(("channels", f"{len(channels)}, of which {slow} are slow"))
    problems = _problems(run)
    lines += [("problem", problem) for problem in problems[:MOST_PROBLEMS]]
    if len(problems) > MOST_PROBLEMS:
        lines.append(("problem", f"and {len(problems) - MOST_PROBLEMS} more"))
    return lines


def _files(run: Run) -> str:
    files = run.files
    left_out = sum(file.refusal != FileRefusal.NONE for file in files)
    return f"{len(files)}" + (f", of which {left_out} are left out" if left_out else "")


def _events(count: int, run: Run) -> str:
    return f"{count}, {run.event[0]} to {run.event[-1]}" if count else "none"


def _problems(run: Run) -> list[str]:
    refused = [f"{file.path}: {file.problem}" for file in run.files if file.refusal != FileRefusal.NONE]
    return refused + [problem.text for problem in run.ledger.problems]


def groups(channels: list[DatasetChannel]) -> dict[str, list[DatasetChannel]]:
    """Return the channels by the part of their names before the last slash."""
    grouped: dict[str, list[DatasetChannel]] = {}
    for channel in channels:
        grouped.setdefault(channel.name.rpartition("/")[0] or channel.name, []).append(channel)
    return grouped


def as_text(run: Run) -> str:
    """Return the summary for a terminal."""
    lines = ["<ravo.Run>"] + [f"  {name:<10} {text}" for name, text in facts(run)]
    for group, members in groups(run._dataset.channels).items():
        lines.append(f"    {group:<28} {len(members):>5}")
    return "\n".join(lines)


def as_html(run: Run) -> str:
    """Return the summary for a notebook."""
    rows = "".join(f"<tr><th style='text-align:left'>{escape(n)}</th><td>{escape(t)}</td></tr>" for n, t in facts(run))
    parts = [f"<b>ravo.Run</b><table>{rows}</table>"]
    for group, members in groups(run._dataset.channels).items():
        names = "".join(
            f"<tr><td>{escape(one.label)}</td><td>{one.entries} values{', slow' if one.is_slow else ''}</td></tr>"
            for one in members
        )
        parts.append(f"<details><summary>{escape(group)} ({len(members)})</summary><table>{names}</table></details>")
    return "".join(parts)
