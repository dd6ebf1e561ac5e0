"""The examples of the docstrings print what they show."""

from __future__ import annotations

import doctest
import importlib
import pkgutil
import subprocess
from pathlib import Path

import numpy as np
import pytest
import ravo

MODULES = ["ravo", *(f"ravo.{module.name}" for module in pkgutil.iter_modules(ravo.__path__) if module.name != "_core")]


@pytest.fixture(scope="module")
def shown(tool: str, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """The files that the docstrings speak of: two, of a hundred events each."""
    made = tmp_path_factory.mktemp("shown")
    subprocess.run([tool, "simulate", str(made)], check=True, capture_output=True)
    return made


def examples() -> list[doctest.DocTest]:
    finder = doctest.DocTestFinder(exclude_empty=True)
    found: list[doctest.DocTest] = []
    for name in MODULES:
        try:
            module = importlib.import_module(name)
        except ImportError:  # of an optional package
            continue
        found += finder.find(module, name, module=module)
    return [example for example in found if example.examples]


@pytest.mark.parametrize("example", examples(), ids=lambda example: example.name)
def test_prints_what_it_shows(
    example: doctest.DocTest, shown: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    for package in ("awkward", "dask", "pandas", "pyarrow", "xarray"):
        if any(package in line.source or f".{package.removeprefix('py')}(" in line.source for line in example.examples):
            pytest.importorskip(package)
    monkeypatch.chdir(tmp_path)
    example.globs |= {"ravo": ravo, "np": np, "folder": shown, "run": ravo.open(shown)}
    runner = doctest.DocTestRunner(optionflags=doctest.ELLIPSIS | doctest.NORMALIZE_WHITESPACE)
    lines: list[str] = []
    runner.run(example, out=lines.append)
    assert runner.failures == 0, "".join(lines)
