"""Runs the examples of all docstrings, with a run of simulated files."""

from __future__ import annotations

import doctest
import importlib
import pkgutil
import types
from pathlib import Path
from typing import Any

import numpy as np
import pytest
import ravo

NEEDS = {"_engine": "dask", "_xarray": "xarray", "_pandas": "pandas", "_arrow": "pyarrow", "_awkward": "awkward"}


def modules() -> list[types.ModuleType]:
    names = [module.name for module in pkgutil.iter_modules(ravo.__path__) if module.name != "_core"]
    missing = {name for name, needed in NEEDS.items() if importlib.util.find_spec(needed) is None}
    return [ravo, *(importlib.import_module(f"ravo.{name}") for name in names if name not in missing)]


def examples() -> list[Any]:
    finder = doctest.DocTestFinder(exclude_empty=True)
    found = [test for module in modules() for test in finder.find(module, module.__name__, module=module)]
    return [test for test in found if test.examples]


@pytest.fixture(scope="session")
def simulated(tool: str, tmp_path_factory: pytest.TempPathFactory) -> Path:
    import subprocess

    made = tmp_path_factory.mktemp("examples")
    subprocess.run([tool, "simulate", str(made)], check=True, capture_output=True)
    return made


@pytest.mark.parametrize("example", examples(), ids=lambda example: example.name)
def test_the_example_of(example: Any, simulated: Path) -> None:
    for package in ("xarray", "pandas", "pyarrow", "awkward", "dask"):
        if any(package in line.source or f".{package.removeprefix('py')}(" in line.source for line in example.examples):
            pytest.importorskip(package)
    example.globs |= {"ravo": ravo, "np": np, "folder": simulated, "run": ravo.open(simulated)}
    runner = doctest.DocTestRunner(optionflags=doctest.ELLIPSIS | doctest.NORMALIZE_WHITESPACE)
    lines: list[str] = []
    runner.run(example, out=lines.append)
    assert runner.failures == 0, "".join(lines)
