"""Simulated files for all tests, made by the tool, whose answers the tests compare with."""

from __future__ import annotations

import json
import os
import shutil
import subprocess
import sysconfig
from collections.abc import Callable
from pathlib import Path
from typing import Any

import pytest
import ravo


@pytest.fixture(scope="session")
def tool() -> str:
    """The tool `ravo`: RAVO_TOOL, or the one that the wheel installed."""
    beside = Path(sysconfig.get_path("scripts")) / "ravo"
    found = os.environ.get("RAVO_TOOL") or (str(beside) if beside.exists() else shutil.which("ravo"))
    assert found, "The tool ravo is not there: install the package, or set RAVO_TOOL"
    return found


@pytest.fixture(scope="session", params=["current", "older"])
def folder(tool: str, tmp_path_factory: pytest.TempPathFactory, request: pytest.FixtureRequest) -> Path:
    """Two files of a hundred events, of either generation."""
    made = tmp_path_factory.mktemp(request.param)
    subprocess.run([tool, "simulate", str(made), "--generation", request.param], check=True, capture_output=True)
    return made


@pytest.fixture(scope="session")
def damaged(tool: str, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """Files of which blocks are damaged."""
    made = tmp_path_factory.mktemp("damaged")
    faults = ["--fault", "flipped-bit@1", "--fault", "flipped-bit-lzo@2"]
    subprocess.run([tool, "simulate", str(made), *faults], check=True, capture_output=True)
    return made


@pytest.fixture(scope="session")
def rows_of(tool: str) -> Callable[[Path, str], list[dict[str, Any]]]:
    """The rows of a column as the tool prints them."""

    def read(where: Path, channel: str) -> list[dict[str, Any]]:
        command = [tool, "read", str(where), "--json", "--column", channel, "--values"]
        lines = subprocess.run(command, capture_output=True, text=True).stdout.splitlines()
        return [json.loads(line) for line in lines if '"value_status"' in line]

    return read


def overwrite(path: str, offset: int, data: bytes) -> None:
    with Path(path).open("r+b") as file:
        file.seek(offset)
        file.write(data)


@pytest.fixture(scope="session")
def by_hand(tool: str, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """Files in which three blocks were changed by hand.

    Row 5 of LINAC/BPM/001 and row 7 of LINAC/CAMERA_EXT/001 cannot be converted; row 5 of
    LINAC/CAMERA/001 is 48 pixels wide and 64 high, where the others are 64 wide and 48 high.
    """
    made = tmp_path_factory.mktemp("by_hand")
    command = [tool, "simulate", str(made), "--compression", "none"]
    subprocess.run(command, check=True, capture_output=True)
    run = ravo.open(made)
    places = [run.locate(label, row) for label, row in CHANGED]
    for place, (label, _) in zip(places, CHANGED, strict=True):
        assert place is not None
        if label == "LINAC/CAMERA/001":
            overwrite(place.path, place.data_offset + 2, (48).to_bytes(2, "big"))
            overwrite(place.path, place.data_offset + 6, (64).to_bytes(2, "big"))
        else:
            overwrite(place.path, place.data_offset, bytes([0x7F] * (120 if "CAMERA" in label else 8)))
    return made


CHANGED = [("LINAC/BPM/001", 5), ("LINAC/CAMERA_EXT/001", 7), ("LINAC/CAMERA/001", 5)]
