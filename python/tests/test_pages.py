"""The pages show what is printed."""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path

import pages
import pytest

ROOT = Path(__file__).resolve().parent.parent.parent


@pytest.mark.parametrize("page", ["README.md", "docs/python.md", "docs/guide.md"])
def test_a_page_shows_what_its_lines_print(page: str, tool: str) -> None:
    path = f"{Path(tool).parent}:{os.environ['PATH']}"
    command = [sys.executable, "-I", pages.__file__, str(ROOT / page)]
    done = subprocess.run(command, env={**os.environ, "PATH": path}, capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr


def write(folder: Path, text: str) -> Path:
    page = folder / "page.md"
    page.write_text(text)
    return page


def test_a_page_that_shows_something_else_is_noticed(tmp_path: Path, capsys: pytest.CaptureFixture[str]) -> None:
    with pytest.raises(RuntimeError, match=r"page\.md:1"):
        pages.run_page(write(tmp_path, "```python\n>>> 1 + 1\n3\n```\n"))
    assert "Expected" in capsys.readouterr().out


def test_python_of_a_page_is_one_session(tmp_path: Path) -> None:
    page = write(tmp_path, "```python\na = 2\n```\ntext\n```python\n>>> a + 1\n3\n```\n")
    assert pages.run_page(page) == 2


def test_a_command_that_fails_is_noticed(tmp_path: Path) -> None:
    page = write(tmp_path, "```console\n$ true && \\\n  false\nprinted\n```\n```python\na = 2\n```\n")
    with pytest.raises(RuntimeError, match="commands fail"):
        pages.run_page(page)
    assert pages.run_page(write(tmp_path, "```python\na = 2\n```\n```sh\nfalse\n```\n")) == 1
