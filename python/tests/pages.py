"""Runs what a page shows, in its order and as a reader would: shell commands, and Python with its output.

    python pages.py PAGE...     ends with an error at the first block that fails or prints something else

Of a page, what stands up to its last block of Python counts: ```python with prompts is compared with its output, where
`...` stands for anything; without prompts it is run. Before it, commands of ```sh and ```console are run, and what they
print is not compared. A block below the comment `not run: REASON` is left out. All Python of a page is one session; the
folder is new and empty, and HOME.
"""

from __future__ import annotations

import doctest
import os
import re
import subprocess
import sys
import tempfile
from collections.abc import Iterator
from pathlib import Path

_BLOCK = re.compile(r"^```(\w+)[^\n]*\n(.*?)^```$", re.MULTILINE | re.DOTALL)
_NOT_RUN = re.compile(r"<!-- not run: [^>]+-->\s*$")


def blocks_of(text: str) -> Iterator[tuple[str, str, int]]:
    """Yield language, text and line of the blocks up to the last one of Python."""
    found = [
        (block.group(1), block.group(2), text.count("\n", 0, block.start()) + 1)
        for block in _BLOCK.finditer(text)
        if not _NOT_RUN.search(text[: block.start()])
    ]
    last = max((index for index, block in enumerate(found) if block[0] == "python"), default=-1)
    yield from found[: last + 1]


def commands_of(console: str) -> str:
    """Return what is typed in a console block: lines after a prompt, with those that continue them."""
    typed: list[str] = []
    goes_on = False
    for line in console.splitlines():
        if line.startswith("$ ") or goes_on:
            typed.append(line.removeprefix("$ "))
            goes_on = line.endswith("\\")
    return "\n".join(typed)


def run_page(page: Path) -> int:
    """Run the blocks of a page and return how many were of Python; raises where one fails."""
    session: dict[str, object] = {"__name__": "__main__"}
    runner = doctest.DocTestRunner(optionflags=doctest.ELLIPSIS | doctest.NORMALIZE_WHITESPACE, verbose=False)
    count = 0
    for language, text, line in blocks_of(page.read_text()):
        if language in ("sh", "console"):
            command = text if language == "sh" else commands_of(text)
            done = subprocess.run(["bash", "-ec", command], capture_output=True, text=True)
            if done.returncode != 0:
                raise RuntimeError(f"{page.name}:{line}: the commands fail:\n{done.stdout}{done.stderr}")
        elif language == "python" and ">>> " in text:
            test = doctest.DocTestParser().get_doctest(text, session, f"{page.name}:{line}", str(page), line)
            runner.run(test, clear_globs=False)
            session.update(test.globs)
            if runner.failures:
                raise RuntimeError(f"{page.name}:{line}: something else is printed")
            count += 1
        elif language == "python":
            exec(compile("\n" * line + text, str(page), "exec"), session)
            count += 1
    return count


def run_in_an_empty_folder(page: Path) -> int:
    """Run a page in a folder that is removed."""
    came_from = Path.cwd()
    with tempfile.TemporaryDirectory() as home:
        os.chdir(home)
        before = dict(os.environ)
        os.environ["HOME"] = home
        try:
            return run_page(page)
        finally:
            os.chdir(came_from)
            os.environ.clear()
            os.environ.update(before)


if __name__ == "__main__":
    for name in sys.argv[1:]:
        ran = run_in_an_empty_folder(Path(name).absolute())
        if ran == 0:
            sys.exit(f"{name}: has no Python")
        print(f"{name}: {ran} blocks of Python")
