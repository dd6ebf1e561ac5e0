"""Values against the tool's, parts against slices of the whole."""

from __future__ import annotations

import pickle
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
import ravo

Rows = Callable[[Path, str], list[dict[str, Any]]]


def assert_equal_to_rows(channel: ravo.Channel, rows: list[dict[str, Any]]) -> None:
    values = channel.read()
    assert values.event.tolist() == [row["event"] for row in rows]
    assert [ravo.Status(status).name.lower() for status in values.status.tolist()] == [
        row["value_status"] for row in rows
    ]
    natural = values.masked()
    for index, row in enumerate(rows):
        if "text" in row:
            assert natural[index] == row["text"]
        elif "members" in row and channel.kind == ravo.Kind.NAME_VALUE:
            assert natural[index] == {one["name"]: one["values"][0] for one in row["members"]}
        elif "members" in row:
            expected = np.concatenate([np.ravel(one["values"]) for one in row["members"]])
            np.testing.assert_array_equal(np.ravel(natural[index]), expected.astype(natural.dtype))
        elif "values" in row:
            np.testing.assert_array_equal(np.ravel(natural[index]), np.asarray(row["values"], natural.dtype))


def test_every_kind_equals_what_the_tool_prints(folder: Path, rows_of: Rows) -> None:
    run = ravo.open(folder)
    compared = 0
    for label, channel in run.items():
        rows = rows_of(folder, label)
        assert_equal_to_rows(channel, rows)
        compared += len(rows)
    assert compared > 1000
    assert run.ledger.is_balanced


def test_damaged_values_have_the_tools_status(damaged: Path, rows_of: Rows) -> None:
    run = ravo.open(damaged)
    missing = 0
    for label, channel in run.items():
        assert_equal_to_rows(channel, rows_of(damaged, label))
        missing += channel.read().missing
    assert missing >= 2


@pytest.mark.parametrize(
    "key",
    [
        np.s_[10:20],
        np.s_[::-3],
        np.s_[-1],
        np.s_[5, 1],
        np.s_[3:9, :, 10:20:3],
        np.s_[..., 63],
        np.s_[[7, 3, 3], 2],
        np.s_[100:100],
        np.s_[::2, ::-1, ::-2],
    ],
)
def test_a_part_equals_the_slice_of_the_whole(folder: Path, key: Any) -> None:
    channel = ravo.open(folder, chan="LINAC/BPM/001")["LINAC/BPM/001"]
    whole = channel.numpy()
    part = channel[key]
    np.testing.assert_array_equal(part.numpy(), whole[key])
    assert part.shape == whole[key].shape


def test_events_have_the_values_of_columns(folder: Path) -> None:
    run = ravo.open(folder, chan=["LINAC/RF/*", "LINAC/CAMERA_EXT/001"], join="all")
    columns = {label: run[label].numpy() for label in run}
    numbers = []
    for row, event in enumerate(run.events()):
        numbers.append(event.number)
        for label, column in columns.items():
            if len(column) == len(run.event):
                np.testing.assert_array_equal(event[label].value, column[row])
    assert numbers == run.event.tolist()


def test_arrays_outlive_the_run_and_share_memory(folder: Path) -> None:
    run = ravo.open(folder, chan="LINAC/BPM/001")
    values = run["LINAC/BPM/001"].read()
    array = values.numpy()
    assert np.shares_memory(array, values.column.values)
    total = float(array.sum())
    del run, values
    assert float(array.sum()) == total


def test_a_run_is_pickled_as_its_selection(folder: Path) -> None:
    run = ravo.open(folder, chan="LINAC/BPM/00?", slow="hold", max_age="2s", threads=1)
    again = pickle.loads(pickle.dumps(run))
    assert again.selection == run.selection
    assert list(again) == list(run)


def test_unknown_channels_and_files_raise_pythons_errors(folder: Path) -> None:
    run = ravo.open(folder)
    with pytest.raises(KeyError, match="LINAC/BPM/001"):
        run["LINAC/BPM/0001"]
    with pytest.raises(FileNotFoundError):
        ravo.open(run=99, data=folder, catalog=folder)
    with pytest.raises(ValueError, match="colour"):
        ravo.open("linac/main colour=red")


def test_what_progress_raises_ends_the_reading_and_the_run_reads_on(folder: Path) -> None:
    run = ravo.open(folder, chan="LINAC/RF/001")

    def stop(done: int, total: int) -> None:
        raise ravo.Cancelled(f"at {done} of {total}")

    with pytest.raises(ravo.Cancelled, match="of"):
        run["LINAC/RF/001"].numpy(progress=stop)
    assert run["LINAC/RF/001"].numpy().shape[1:] == (2, 512)
