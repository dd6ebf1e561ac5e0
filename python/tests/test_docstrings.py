"""The examples of the docstrings print what they show."""

from __future__ import annotations

import doctest
import importlib
import pkgutil
import subprocess
from pathlib import Path

import pytest
import ravo

MODULES = ["ravo", *(f"ravo.{module.name}" for module in pkgutil.iter_modules(ravo.__path__) if module.name != "_core")]


@pytest.fixture(scope="module")
def shown(tool: str, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """The files that the docstrings speak of: two, of a hundred events each."""
    made = tmp_path_factory.mktemp("shown")
    subprocess.run([tool, "simulate", str(made)], check=True, capture_output=True)
    return made


@pytest.mark.parametrize("name", MODULES)
def test_examples_print_what_they_show(name: str, shown: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    try:
        module = importlib.import_module(name)
    except ImportError as error:
        pytest.skip(f"needs {error.name}")
    flags = doctest.ELLIPSIS | doctest.NORMALIZE_WHITESPACE
    known = {"ravo": ravo, "folder": shown, "run": ravo.open(shown)}
    failed, _ = doctest.testmod(module, extraglobs=known, optionflags=flags)
    assert failed == 0


def test_the_examples_are_found() -> None:
    finder = doctest.DocTestFinder()
    found = [
        test for name in ("ravo", "ravo._run", "ravo._channel") for test in finder.find(importlib.import_module(name))
    ]
    assert sum(bool(test.examples) for test in found) >= 5
