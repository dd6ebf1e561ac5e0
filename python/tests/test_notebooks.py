"""The notebooks of examples/notebooks run from the first to the last cell, and draw what they say."""

from __future__ import annotations

import os
from pathlib import Path

import pytest

nbformat = pytest.importorskip("nbformat")
nbclient = pytest.importorskip("nbclient")
pytest.importorskip("ipykernel")
pytest.importorskip("matplotlib")
pytest.importorskip("pyarrow")
pytest.importorskip("pandas")

FOLDER = Path(__file__).parents[2] / "examples" / "notebooks"
PICTURES = {
    "beam_orbit": 2,
    "camera_and_spectrum": 4,
    "first_look": 3,
    "raw_to_dataframe": 1,
    "slow_values_with_age": 2,
    "what_is_missing": 2,
}


def test_every_notebook_is_tested_and_listed() -> None:
    assert sorted(path.stem for path in FOLDER.glob("*.ipynb")) == sorted(PICTURES)
    page = (FOLDER.parents[1] / "docs" / "notebooks.md").read_text()
    assert [name for name in PICTURES if f"(../examples/notebooks/{name}.ipynb)" not in page] == []


@pytest.mark.parametrize("name", sorted(PICTURES))
def test_a_notebook_runs_and_draws(name: str, tool: str, tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    notebook = nbformat.read(FOLDER / f"{name}.ipynb", as_version=4)
    nbformat.validate(notebook)
    assert all(not cell.get("outputs") and cell.get("execution_count") is None for cell in notebook.cells)
    monkeypatch.setenv("PATH", f"{Path(tool).parent}{os.pathsep}{os.environ['PATH']}")
    client = nbclient.NotebookClient(notebook, timeout=300, resources={"metadata": {"path": str(tmp_path)}})
    client.execute()
    outputs = [output for cell in notebook.cells for output in cell.get("outputs", [])]
    assert [output["text"] for output in outputs if output.get("name") == "stderr"] == []
    assert sum("image/png" in output.get("data", {}) for output in outputs) == PICTURES[name]
    if where := os.environ.get("RAVO_NOTEBOOKS"):  # to look at the pictures
        nbformat.write(notebook, Path(where) / f"{name}.ipynb")
