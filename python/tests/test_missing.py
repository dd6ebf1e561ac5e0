"""Missing values in NumPy, masked arrays and Arrow: none of them is hidden."""

from __future__ import annotations

import subprocess
from pathlib import Path

import numpy as np
import pytest
import ravo

pa = pytest.importorskip("pyarrow")


@pytest.fixture(scope="module")
def pictures(tool: str, tmp_path_factory: pytest.TempPathFactory) -> ravo.Run:
    """Files with two cameras, in which one bit of each of a few blocks is flipped."""
    made = tmp_path_factory.mktemp("pictures")
    kinds = ["bpms", "toroids", "rfs", "spectra", "energies", "profiles", "slows", "environments", "statuses"]
    none = [word for kind in kinds for word in (f"--{kind}", "0")]
    command = [tool, "simulate", str(made), "--compression", "none", *none, "--messages", "1"]
    subprocess.run(command, check=True, capture_output=True)
    path = sorted(made.glob("*.raw"))[0]
    run = ravo.open(path)
    for label, row in (("LINAC/CAMERA/001", 3), ("LINAC/CAMERA_EXT/001", 5)):
        place = run.locate(label, row)
        assert place is not None
        data = bytearray(path.read_bytes())
        data[place.data_offset : place.data_offset + 16] = b"\xff" * 16  # its head: width, height ...
        path.write_bytes(data)
    return ravo.open(made)


def cameras(run: ravo.Run) -> list[ravo.Channel]:
    found = [channel for label, channel in run.items() if "CAMERA" in label]
    assert found
    return found


def test_integers_with_gaps_refuse_to_be_a_plain_array(pictures: ravo.Run) -> None:
    refused = 0
    for channel in cameras(pictures):
        values = channel.read()
        if values.column.dtype == "float32" or not values.missing:
            continue
        with pytest.raises(ravo.MissingValues, match=r"fill=.*masked") as raised:
            values.numpy()
        assert f"{values.missing} of {len(values)}" in str(raised.value)
        with pytest.raises(ValueError, match="missing"):
            np.asarray(channel)
        refused += 1
    assert refused >= 1


def test_fill_is_what_missing_rows_hold(pictures: ravo.Run) -> None:
    for channel in cameras(pictures):
        values = channel.read()
        gaps = values.status != ravo.Status.OK
        filled = values.numpy(fill=7)
        masked = values.masked()
        if filled.dtype == object:
            assert all(row == 7 for row in filled[gaps])
            continue
        assert (filled[gaps] == 7).all()
        np.testing.assert_array_equal(filled[~gaps], masked.data[~gaps])
        assert masked.mask[gaps].all()
        assert not masked.mask[~gaps].any()
        assert not np.shares_memory(filled, values.column.values) or not gaps.any()


def test_fill_of_floats_and_texts(damaged: Path) -> None:
    run = ravo.open(damaged)
    channel = next(channel for channel in run.values() if channel.read().missing and channel.dtype == np.float32)
    values = channel.read()
    gaps = values.status != ravo.Status.OK
    assert np.isnan(values.numpy()[gaps]).all()
    assert (values.numpy(fill=-1)[gaps] == -1).all()
    np.testing.assert_array_equal(channel.numpy(fill=-1), values.numpy(fill=-1))


def test_arrow_has_nulls_where_values_are_missing(damaged: Path) -> None:
    run = ravo.open(damaged)
    nulls = 0
    for channel in run.values():
        values = channel.read()
        array = pa.array(values.column)
        has_value = [ravo.Status(status).has_value for status in values.status.tolist()]
        assert array.is_valid().to_pylist() == has_value
        nulls += array.null_count
        for row in range(0, len(values), 17):
            if not has_value[row]:
                assert array[row].as_py() is None
                continue
            expected = values.masked()[row]
            if channel.kind == ravo.Kind.TEXT:
                assert array[row].as_py() == expected
            elif channel.kind != ravo.Kind.NAME_VALUE and not values.column.is_ragged:
                np.testing.assert_array_equal(np.asarray(array[row].as_py(), values.masked().dtype), expected)
    assert nulls >= 2


def test_arrow_of_rows_that_differ_in_shape_has_offsets(pictures: ravo.Run) -> None:
    text = next(channel for channel in pictures.values() if channel.kind == ravo.Kind.TEXT)
    values = text.read()
    array = pa.array(values.column)
    assert array.type == pa.large_string()
    assert array.to_pylist() == values.numpy().tolist()


def test_arrow_of_ragged_rows_holds_each_row(tool: str, tmp_path: Path) -> None:
    subprocess.run([tool, "simulate", str(tmp_path), "--compression", "none"], check=True, capture_output=True)
    second = sorted(tmp_path.glob("*.raw"))[1]
    one, other, between = b"LINAC/ENERGY/001", b"LINAC/TOROID/001", b"LINAC/??????/001"
    second.write_bytes(second.read_bytes().replace(one, between).replace(other, one).replace(between, other))
    run = ravo.open(tmp_path)
    values = run["LINAC/TOROID/001"].read()
    assert values.column.is_ragged
    array = pa.array(values.column)
    rows = values.numpy()
    for row in range(len(rows)):
        seen = array[row].as_py()
        numbers = seen["values"] if isinstance(seen, dict) else seen
        np.testing.assert_array_equal(np.asarray(numbers, np.float32), np.ravel(rows[row]))
    batch = next(iter(run.batches("1 GB", ["LINAC/TOROID/001", "LINAC/ENERGY/001"])))
    table = pa.table(batch)
    assert table.num_rows == len(run.event)
    assert table["event_number"].to_pylist() == run.event.tolist()
    status = table["LINAC/TOROID/001.status"].to_numpy()
    assert (status == batch["LINAC/TOROID/001"].status).all()
    absent = np.flatnonzero(status == ravo.Status.NOT_RECORDED)
    assert all(table["LINAC/TOROID/001"][int(row)].as_py() is None for row in absent)
