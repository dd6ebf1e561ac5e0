"""What channels are is found out once, and of long runs by the earliest files."""

from __future__ import annotations

import subprocess
from pathlib import Path
from typing import Any

import pytest
import ravo


@pytest.fixture(scope="module")
def six_files(tool: str, tmp_path_factory: pytest.TempPathFactory) -> Path:
    made = tmp_path_factory.mktemp("six")
    command = [tool, "simulate", str(made), "--files", "6", "--events", "20"]
    subprocess.run(command, check=True, capture_output=True)
    return made


class Counting:
    """A dataset whose descriptions are counted."""

    def __init__(self, dataset: Any) -> None:
        self.dataset, self.calls = dataset, 0

    def __getattr__(self, name: str) -> Any:
        return getattr(self.dataset, name)

    def describe(self, *arguments: Any) -> Any:
        self.calls += 1
        return self.dataset.describe(*arguments)


def facts_of(channel: ravo.Channel) -> tuple[object, ...]:
    return channel.kind, channel.dims, channel.shape, channel.dtype, channel.unit, channel.members, channel.axis


def test_facts_of_all_channels_in_the_earliest_files_take_one_walk(six_files: Path) -> None:
    run = ravo.open(six_files)
    counting = Counting(run._dataset)
    run._facts._dataset = counting
    channels = [run[label] for label in run]
    assert counting.calls == 0
    silent = {one.label for one in run._dataset.channels if one.entries == 0}
    for channel in channels:
        assert facts_of(channel) == facts_of(run[channel.label])
        assert (channel.kind == ravo.Kind.NONE) == (channel.label in silent)
    late = {"LINAC/RUN/END"}  # its only value is in the last file, and is searched for
    assert counting.calls == 1 + len(late)


def test_facts_are_those_of_a_full_description(six_files: Path) -> None:
    run = ravo.open(six_files)
    for label, full in run.describe().items():
        channel = run[label]
        assert channel.details.dtype == full.dtype
        assert channel.unit in (full.unit, full.members[0].unit if len(full.members) == 1 else full.unit)
        assert [(one.name, one.size) for one in channel.details.dimensions] == [
            (one.name, one.size) for one in full.dimensions
        ]
        again = channel.describe()
        assert (again.kind, again.rate, len(again.changes)) == (full.kind, full.rate, len(full.changes))


def test_a_channel_that_begins_late_is_found(six_files: Path, tmp_path: Path) -> None:
    """Its first value is after the earliest files."""
    paths = sorted(six_files.glob("*.raw"))
    for path in paths[:5]:
        data = path.read_bytes().replace(b"LINAC/ENERGY/001", b"LINAC/ENERGY/009")
        (tmp_path / path.name).write_bytes(data)
    (tmp_path / paths[5].name).symlink_to(paths[5])
    run = ravo.open(tmp_path)
    channel = run["LINAC/ENERGY/001"]
    assert channel.kind == ravo.Kind.SPECTRUM
    assert channel.numpy().shape == channel.shape == (len(channel),)
    assert run["LINAC/ENERGY/009"].dtype == channel.dtype
