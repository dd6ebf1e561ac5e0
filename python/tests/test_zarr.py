"""The live Zarr store against columns: what zarr and xarray read is what the run reads."""

from __future__ import annotations

import asyncio
import doctest
import json
import pickle
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Any

import numpy as np
import pytest
import ravo

zarr = pytest.importorskip("zarr")

from ravo._zarr_layout import path_of  # noqa: E402
from zarr.abc.store import OffsetByteRequest, RangeByteRequest, SuffixByteRequest  # noqa: E402
from zarr.core.buffer import default_buffer_prototype  # noqa: E402


def group_of(store: Any, label: str) -> Any:
    return zarr.open_group(store, mode="r")[path_of(label)]


def assert_equals_column(group: Any, column: Any) -> None:
    np.testing.assert_array_equal(group["status"][:], column.status)
    np.testing.assert_array_equal(group["event_number"][:], column.numbers)
    np.testing.assert_array_equal(group["time"][:], column.times_us)
    has_value = np.isin(column.status, group["status"].attrs["flags_with_value"])
    value = group["value"][:]
    if "offsets" in group:
        begin, end = group["offsets"][:-1], group["offsets"][1:]
        for row in np.flatnonzero(has_value):
            if column.kind == ravo.Kind.TEXT:
                assert bytes(value[begin[row] : end[row]]).decode() == column.text(int(row))
            else:
                shape = [size for _, size in column.dimensions_of_row(int(row))]
                expected = column.values.reshape(len(column), -1)[row]
                np.testing.assert_array_equal(value[begin[row] : end[row]], expected)
                assert np.prod(group["shapes"][row]) == np.prod(shape)
        return
    if column.kind == ravo.Kind.NAME_VALUE:
        assert list(group["value"].attrs["records"]) == column.record_names
        np.testing.assert_array_equal(value, column.values.reshape(value.shape))
        np.testing.assert_array_equal(group["record_status"][:], column.record_status)
        return
    np.testing.assert_array_equal(value[has_value], column.values[has_value])
    if value.dtype.kind == "f":
        assert np.isnan(value[~has_value]).all()
    else:
        assert (value[~has_value] == np.iinfo(value.dtype).max).all()


@pytest.mark.parametrize("rows", ["recorded", "events"])
@pytest.mark.parametrize("chunk", ["2 kB", "1 MiB"])
def test_every_kind_equals_its_column(folder: Path, rows: Any, chunk: str) -> None:
    names = ["LINAC/*/001", "LINAC/BPM/HALF_RATE", "LINAC/RUN/*", "LINAC/TOROID/SPARE", "LINAC/BPM/002:1"]
    run = ravo.open(folder, chan=names, slow="hold", max_age="1s", join="any")
    store = ravo.zarr_store(run, rows=rows, chunk=chunk)
    part = ravo._core.Part()
    part.rows = {"recorded": ravo._core.Rows.RECORDED, "events": ravo._core.Rows.EVENTS}[rows]
    whole = zarr.open_group(store, mode="r")
    kinds = set()
    for label in run:
        group = whole[path_of(label)]
        column = run._dataset.column(label, part)
        assert_equals_column(group, column)
        kinds.add(column.kind)
        assert group.attrs["channel"] == label
        if "age" in group:
            np.testing.assert_array_equal(group["age"][:], column.ages_us)
        assert ("age" in group) == (rows == "events" and run[label].details.is_slow)
    assert len(kinds) >= 7


def test_damaged_rows_are_missing_with_their_status(damaged: Path) -> None:
    run = ravo.open(damaged)
    store = ravo.zarr_store(run, chunk="20 kB")
    whole = zarr.open_group(store, mode="r")
    missing = 0
    for label in run:
        group = whole[path_of(label)]
        assert_equals_column(group, run[label].read().column)
        missing += int((~np.isin(group["status"][:], group["status"].attrs["flags_with_value"])).sum())
    assert missing >= 2


def test_integers_without_a_value_stand_out(folder: Path) -> None:
    run = ravo.open(folder, chan=["LINAC/RUN/*", "LINAC/CAMERA/001"])  # the first and the last event have no frame
    for fill, expected in ((None, 255), (7, 7)):
        group = group_of(ravo.zarr_store(run, rows="events", fill=fill), "LINAC/CAMERA/001")
        without = ~np.isin(group["status"][:], group["status"].attrs["flags_with_value"])
        assert without.tolist() == [True] + [False] * 200 + [True]
        assert (group["value"][:][without] == expected).all()
        assert group["value"].fill_value == expected
    with pytest.raises(ravo.SelectionError, match="300"):
        group_of(ravo.zarr_store(run, fill=300), "LINAC/CAMERA/001")


@pytest.mark.parametrize("key", [np.s_[10:20], np.s_[::7], np.s_[5, 1], np.s_[3:90, :, 10:20:3], np.s_[..., 63]])
def test_slices_equal_those_of_the_column(folder: Path, key: Any) -> None:
    run = ravo.open(folder, chan="LINAC/BPM/001")
    value = group_of(ravo.zarr_store(run, chunk="10 kB"), "LINAC/BPM/001")["value"]
    np.testing.assert_array_equal(value[key], run["LINAC/BPM/001"].numpy()[key])


def test_xarray_reads_values_coordinates_and_units(folder: Path) -> None:
    xarray = pytest.importorskip("xarray")
    run = ravo.open(folder, chan=["LINAC/RF/001", "LINAC/MAGNET/001", "LINAC/SPECTRUM/001"], slow="hold", max_age="1s")
    store = ravo.zarr_store(run, rows="events")
    rf = xarray.open_zarr(store, group="LINAC/RF/001", consolidated=True)
    assert rf.value.dims == ("event", "member", "sample")
    assert rf.value.attrs["units"] == "MV/m, deg"
    assert rf.value.attrs["member_units"] == ["MV/m", "deg"]
    assert {"event_number", "time", "sample"} <= set(rf.coords)
    np.testing.assert_array_equal(rf.sample, run["LINAC/RF/001"].axis.values)
    np.testing.assert_array_equal(rf.time.values.astype("datetime64[us]"), run.time)
    part = ravo._core.Part()
    part.rows = ravo._core.Rows.EVENTS
    np.testing.assert_array_equal(rf.value, run._dataset.column("LINAC/RF/001", part).values)
    magnet = xarray.open_zarr(store, group="LINAC/MAGNET/001", decode_timedelta=True)
    ages = run._dataset.column("LINAC/MAGNET/001", part).ages_us
    np.testing.assert_array_equal(magnet.age.values.astype("timedelta64[us]").astype(int), ages)
    assert set(magnet.status.values.tolist()) >= {int(ravo.Status.OK), int(ravo.Status.HELD)}
    spectrum = xarray.open_zarr(store, group="LINAC/SPECTRUM/001")
    axis = spectrum.axis.values[spectrum.status.values == 0]
    np.testing.assert_array_equal(axis, np.tile(np.float32([13.2, 0.01, 0, 0]), (len(axis), 1)))


def test_named_channels_are_laid_out_back_to_back(folder: Path) -> None:
    run = ravo.open(folder, chan=["LINAC/BPM/001", "LINAC/CAMERA/001"])
    store = ravo.zarr_store(run, ragged=list(run), chunk=1001)
    for label in run:
        group = group_of(store, label)
        assert group["value"].ndim == 1
        assert_equals_column(group, run[label].read().column)
    with pytest.raises(ravo.SelectionError, match="LINAC/BPM/002"):
        ravo.zarr_store(run, ragged=["LINAC/BPM/002"])


def test_metadata_are_consolidated_and_list_every_key(folder: Path) -> None:
    store = ravo.zarr_store(ravo.open(folder, chan=["LINAC/BPM/001", "LINAC/MESSAGE/001"]), chunk="30 kB")
    whole = zarr.open_consolidated(store, mode="r")
    assert {path for path, _ in whole.members(max_depth=None)} >= {"LINAC/BPM/001/value", "LINAC/MESSAGE/001/offsets"}
    assert set(whole["LINAC"]) == {"BPM", "MESSAGE"}

    async def walk() -> tuple[list[str], dict[str, list[str]]]:
        keys = [key async for key in store.list()]
        folders = {key.rpartition("/")[0] for key in keys}
        return keys, {folder: [name async for name in store.list_dir(folder)] for folder in folders}

    keys, listed = asyncio.run(walk())
    assert len(set(keys)) == len(keys)
    for folder_name, names in listed.items():
        below = folder_name + "/" if folder_name else ""
        expected = {key[len(below) :].partition("/")[0] for key in keys if key.startswith(below)}
        assert set(names) == expected

    async def check() -> None:
        prototype = default_buffer_prototype()
        for key in keys:
            assert await store.exists(key)
            buffer = await store.get(key, prototype)
            assert buffer is not None
            assert len(buffer.to_bytes()) == await store.getsize(key)
            if key.endswith("zarr.json"):
                assert json.loads(buffer.to_bytes())["zarr_format"] == 3
        for missing in ("nothing", "LINAC/BPM/002/zarr.json", "LINAC/BPM/001/value/c/99/0/0", "c/0", "zarr.json/"):
            assert await store.get(missing, prototype) is None
            assert not await store.exists(missing)
        for odd in ("00/0/0", "-1/0/0", "+1/0/0", "0/1/0", "0/0", "\u0661/0/0", "0/0/0/0", "x/0/0"):
            assert await store.get(f"LINAC/BPM/001/value/c/{odd}", prototype) is None

    asyncio.run(check())


def test_ranges_of_bytes_are_those_of_the_whole(folder: Path) -> None:
    store = ravo.zarr_store(ravo.open(folder, chan="LINAC/BPM/001"))
    key = "LINAC/BPM/001/value/c/0/0/0"

    async def read() -> None:
        prototype = default_buffer_prototype()
        whole = (await store.get(key, prototype)).to_bytes()
        ranges = [
            (RangeByteRequest(4, 20), whole[4:20]),
            (RangeByteRequest(len(whole) - 4, len(whole) + 9), whole[-4:]),
            (OffsetByteRequest(100), whole[100:]),
            (SuffixByteRequest(12), whole[-12:]),
            (None, whole),
        ]
        found = await store.get_partial_values(prototype, [(key, wanted) for wanted, _ in ranges])
        assert [one.to_bytes() for one in found] == [expected for _, expected in ranges]

    asyncio.run(read())


def test_nothing_can_be_written(folder: Path) -> None:
    run = ravo.open(folder, chan="LINAC/BPM/001")
    store = ravo.zarr_store(run)
    buffer = default_buffer_prototype().buffer.from_bytes(b"{}")
    for refused in (
        lambda: asyncio.run(store.set("zarr.json", buffer)),
        lambda: asyncio.run(store.set_if_not_exists("new", buffer)),
        lambda: asyncio.run(store.delete("zarr.json")),
        lambda: asyncio.run(store.delete_dir("LINAC")),
        lambda: asyncio.run(store.clear()),
        lambda: store.with_read_only(False),
        lambda: zarr.open_group(store, mode="w"),
        lambda: zarr.create_array(store, name="new", shape=(1,), dtype="uint8"),
    ):
        with pytest.raises(ValueError, match="read"):
            refused()
    assert group_of(store, "LINAC/BPM/001")["value"].shape == (200, 3, 64)
    assert store.with_read_only(True) == store


def test_threads_and_loops_share_a_store(folder: Path) -> None:
    run = ravo.open(folder, chan="LINAC/BPM/00?")
    store = ravo.zarr_store(run, chunk=2000, cache="20 kB")
    expected = {label: run[label].numpy() for label in run}

    def read(label: str) -> tuple[str, Any]:
        return label, group_of(store, label)["value"][:]

    with ThreadPoolExecutor(8) as pool:
        for label, values in pool.map(read, list(run) * 3):
            np.testing.assert_array_equal(values, expected[label])


def test_a_store_is_pickled_as_its_selection(folder: Path) -> None:
    store = ravo.zarr_store(ravo.open(folder, chan="LINAC/BPM/001"), chunk="10 kB")
    again = pickle.loads(pickle.dumps(store))
    assert again == store
    assert hash(again) == hash(store)
    assert again != ravo.zarr_store(ravo.open(folder, chan="LINAC/BPM/001"))
    np.testing.assert_array_equal(
        group_of(again, "LINAC/BPM/001")["value"][:], group_of(store, "LINAC/BPM/001")["value"][:]
    )


@pytest.mark.parametrize(
    ("label", "path"),
    [
        ("LINAC/BPM/001", "LINAC/BPM/001"),
        ("LINAC/BPM/001:2", "LINAC/BPM/001:2"),
        ("A/value", "A/%76alue"),
        ("value", "value"),
        ("A//B", "A/%/B"),
        ("A/../B", "A/%2E./B"),
        ("__A/zarr.json", "%5F_A/%7Aarr.json"),
        ("A%2FB/c", "A%252FB/%63"),
    ],
)
def test_names_that_paths_cannot_hold_are_escaped(label: str, path: str) -> None:
    assert path_of(label) == path


def test_without_zarr_the_message_says_what_to_install(folder: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    run = ravo.open(folder, chan="LINAC/BPM/001")
    monkeypatch.setitem(sys.modules, "zarr.abc.store", None)
    monkeypatch.delitem(sys.modules, "ravo._zarr_store", raising=False)
    with pytest.raises(ImportError, match=r"pip install 'ravo\[archive\]'"):
        ravo.zarr_store(run)


def test_the_example_of_the_documentation_runs(folder: Path) -> None:
    pytest.importorskip("xarray")
    finder = doctest.DocTestFinder().find(ravo.zarr_store, globs={"ravo": ravo, "folder": folder})
    results = [doctest.DocTestRunner().run(example) for example in finder]
    assert sum(result.attempted for result in results) >= 3
    assert sum(result.failed for result in results) == 0
