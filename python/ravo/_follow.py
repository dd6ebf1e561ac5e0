"""Files that are still being written, followed event by event."""

from __future__ import annotations

from collections.abc import Iterable
from typing import Any

from ravo import _core
from ravo._selection import What, make_selection
from ravo._sizes import bytes_of


def follow(
    what: What = None,
    /,
    *,
    poll: float = 5.0,
    silence: float = 900.0,
    end_after: float | None = None,
    until_end_of_run: bool = False,
    streams: Iterable[str] = (),
    threads: int = 0,
    memory_limit: int | str = "1 GiB",
    largest_missing_share: float = 1.0,
    **words: Any,
) -> _core.Following:
    """Return the events of files that are still being written, one after another, as an iterator that waits.

    A file is read when it is closed, that is, when it has not changed for half a minute. Events come in the order of
    time, as soon as nothing earlier is to come; one that comes later all the same has ``is_late``. Ctrl-C ends a
    wait, and following.

    Parameters
    ----------
    what, words
        A selection, as `ravo.open` takes it; not with ``slow="nearest"``, which asks for values that come later.
    poll
        Seconds between two looks for new files.
    silence
        Seconds after which a stream that did not go on delays the others no longer.
    end_after
        Seconds after which following ends; what was taken until then is handed over. Left out, it goes on.
    until_end_of_run
        End with the run, as a selection with ``run=`` always does.
    streams
        Streams that are waited for from the beginning: what stands before "_run" in the names of their files.
    threads, memory_limit, largest_missing_share
        As `ravo.open` takes them.

    Returns
    -------
    Following
        An iterator of `FollowedEvent`, which has ``is_late``, ``labels`` and ``is_not_yet_recorded`` beside what an
        `Event` has. The iterator has ``watermark``, ``ended``, ``ledger``, ``late_files``, ``unmatched_patterns``.

    Raises
    ------
    SelectionError
        For a selection that makes no sense.

    Examples
    --------
    >>> import ravo
    >>> following = ravo.follow(folder, chan="LINAC/BPM/001", end_after=0)
    >>> numbers = [event.number for event in following]
    >>> following.ended
    'time is up'
    """
    return _core.Following(
        make_selection(what, **words),
        poll=poll,
        silence=silence,
        end_after=end_after,
        until_end_of_run=until_end_of_run,
        streams=list(streams),
        threads=threads,
        memory_limit=bytes_of(memory_limit),
        largest_missing_share=largest_missing_share,
    )
