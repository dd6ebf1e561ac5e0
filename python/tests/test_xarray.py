"""Labelled arrays and datasets, read now or when they are used."""

from __future__ import annotations

import pickle
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
import ravo

xr = pytest.importorskip("xarray")
hypothesis = pytest.importorskip("hypothesis")
from hypothesis import given, settings  # noqa: E402
from hypothesis import strategies as st  # noqa: E402

Rows = Callable[[Path, str], list[dict[str, Any]]]


@pytest.fixture(scope="module")
def run(folder: Path) -> ravo.Run:
    return ravo.open(folder, slow="hold")


def slices(size: int) -> st.SearchStrategy[slice]:
    """Slices but empty ones with a negative step, which xarray cannot take of any lazy array."""
    return st.slices(size).filter(lambda key: (key.step or 1) > 0 or len(range(*key.indices(size))) > 0)


def opened(run: ravo.Run, **options: Any) -> Any:
    return xr.open_dataset(run.selection, engine="ravo", **options)


def test_values_events_and_statuses_equal_what_the_tool_prints(damaged: Path, rows_of: Rows) -> None:
    run = ravo.open(damaged)
    compared = missing = 0
    for label, channel in run.items():
        rows = rows_of(damaged, label)
        array = channel.xarray(fill=0)
        assert array.event.values.tolist() == [row["event"] for row in rows]
        data, status = array.values, array.status.values
        for index, row in enumerate(rows):
            if channel.kind == ravo.Kind.NAME_VALUE:
                printed = {one["name"]: np.float32(one["values"][0]) for one in row.get("members", [])}
                shown = dict(zip(array.record.values.tolist(), data[index], strict=True))
                assert shown == printed
            else:
                assert ravo.Status(int(status[index])).name.lower() == row["value_status"]
                expected = row.get("values") or [one["values"] for one in row.get("members", [])]
                if "text" not in row and expected and array.dtype != object:
                    flat = np.concatenate([np.ravel(one) for one in expected])
                    np.testing.assert_array_equal(np.ravel(data[index]), flat.astype(array.dtype))
            compared += 1
        missing += array.attrs["ravo_missing"]
    assert compared > 1000
    assert missing >= 2


def test_labels_are_of_what_the_part_holds(run: ravo.Run) -> None:
    array = run["LINAC/RF/001"][10:20, 1, ::-3].xarray()
    whole = run["LINAC/RF/001"].xarray()
    assert array.dims == ("event", "sample")
    assert array.attrs["units"] == "deg"
    assert array.member == "PHASE"
    assert array.axis.attrs == {"units": "us", "long_name": "time in the pulse"}
    np.testing.assert_array_equal(array.axis, whole.axis[::-3])
    xr.testing.assert_equal(array.drop_vars("unit", errors="ignore"), whole[10:20, 1, ::-3].drop_vars("unit"))


def test_a_dataset_read_now_equals_a_lazy_one(run: ravo.Run) -> None:
    read = run.xarray()
    lazy = opened(run).load()
    assert set(read.variables) == set(lazy.variables)
    for name in read.variables:
        xr.testing.assert_equal(read[name], lazy[name])
        if read[name].dtype != object:
            assert read[name].dtype == lazy[name].dtype


def test_each_variable_equals_the_channel_at_its_events(run: ravo.Run) -> None:
    dataset = run.xarray()
    for label, channel in run.items():
        rows = np.isin(run.event, dataset.event.values)
        values = channel.aligned().read()
        if dataset[label].dtype != object and channel.kind != ravo.Kind.NAME_VALUE:
            np.testing.assert_array_equal(
                dataset[label].values,
                values.numpy(fill=0)[rows] if dataset[label].dtype.kind == "u" else values.numpy()[rows],
            )
            np.testing.assert_array_equal(dataset[f"{label}.status"], values.status[rows])
        if channel.details.is_slow:
            np.testing.assert_array_equal(dataset[f"{label}.age"], values.age[rows])


LAZY = ["LINAC/BPM/001", "LINAC/SPECTRUM/001", "LINAC/CAMERA/001", "LINAC/STATUS/001"]


@pytest.fixture(scope="module")
def both(run: ravo.Run) -> dict[str, Any]:
    """Of some channels a dataset that was read, and a function that opens it lazily."""
    runs = {label: ravo.open(f"{run.selection} chan={label}") for label in LAZY}
    return {label: (one.xarray(), lambda one=one: xr.open_dataset(one, engine="ravo")) for label, one in runs.items()}


@settings(deadline=None, max_examples=25)
@given(data=st.data())
def test_lazy_indexing_equals_indexing_of_values(both: dict[str, Any], data: st.DataObject) -> None:
    label = data.draw(st.sampled_from(LAZY))
    whole, lazy = both[label]
    keys = {}
    sizes = {dim: size for dim, size in whole.sizes.items() if dim in whole[label].dims}
    for dim, size in sizes.items():
        positions = st.lists(st.integers(-size, size - 1), max_size=4)
        keys[dim] = data.draw(st.one_of(st.integers(-size, size - 1), slices(size), positions))
    part = lazy().isel(keys)
    expected = whole.isel(keys)
    order = data.draw(st.permutations([label, f"{label}.status"]))
    for name in order:  # values first, or statuses first
        np.testing.assert_array_equal(part[name].values, expected[name].values)


def test_events_and_members_are_selected_by_their_labels(run: ravo.Run) -> None:
    dataset = opened(ravo.open(run.selection + " chan=LINAC/BPM/00?"))
    part = dataset["LINAC/BPM/002"].sel(event=slice(1000010, 1000012), member=["CHARGE", "X"])
    expected = run["LINAC/BPM/002"].sel(event=slice(1000010, 1000012)).numpy()[:, [2, 0]]
    np.testing.assert_array_equal(part.values, expected)


def test_channels_that_differ_in_a_dimension_have_dimensions_of_their_own(run: ravo.Run) -> None:
    dataset = run.xarray(["LINAC/BPM/001", "LINAC/BPM/002", "LINAC/RF/001"])
    assert dataset["LINAC/BPM/002"].dims == ("event", "LINAC/BPM/001.member", "LINAC/BPM/001.sample")
    assert dataset["LINAC/RF/001"].dims == ("event", "LINAC/RF/001.member", "LINAC/RF/001.sample")
    assert run.xarray(["LINAC/BPM/001", "LINAC/BPM/002"])["LINAC/BPM/002"].dims == ("event", "member", "sample")


def test_missing_integers_are_refused_with_the_remedy(by_hand: Path) -> None:
    run = ravo.open(by_hand, chan=["LINAC/CAMERA_EXT/001", "LINAC/BPM/001"])
    for read in (
        run["LINAC/CAMERA_EXT/001"].xarray,
        run.xarray,
        opened(run)["LINAC/CAMERA_EXT/001"].load,
        run.xarray(chunks={})["LINAC/CAMERA_EXT/001"].compute,
    ):
        with pytest.raises(ravo.MissingValues, match=r"1 of 200.*fill=.*masked"):
            read()
    filled = run.xarray(fill={"LINAC/CAMERA_EXT/001": 9})
    assert (filled["LINAC/CAMERA_EXT/001"][7] == 9).all()
    assert np.isnan(filled["LINAC/BPM/001"][5]).all()
    xr.testing.assert_equal(filled, opened(run, fill={"LINAC/CAMERA_EXT/001": 9}))
    status = opened(run)["LINAC/CAMERA_EXT/001.status"]
    assert np.flatnonzero(status).tolist() == [7]
    assert int(status[7]) == ravo.Status.CANNOT_CONVERT
    assert filled["LINAC/BPM/001"].attrs["ravo_missing"] == 1


def test_rows_that_differ_in_shape_are_objects_or_refused(by_hand: Path) -> None:
    run = ravo.open(by_hand, chan="LINAC/CAMERA/001")
    array = run["LINAC/CAMERA/001"].xarray()
    assert array.dtype == object
    assert array.values[5].shape == (64, 48)
    lazy = opened(run)["LINAC/CAMERA/001"]
    assert lazy[:5].values.shape == (5, 48, 64)
    with pytest.raises(ravo.Error):
        lazy.load()
    with pytest.raises(ravo.Error):
        lazy[:, 0, 60].load()


def test_slow_values_are_held_with_their_age(run: ravo.Run) -> None:
    dataset = run.xarray(["LINAC/MAGNET/001", "LINAC/ENERGY/001"])
    recorded = run["LINAC/MAGNET/001"].read()
    held = dataset["LINAC/MAGNET/001.age"].values > np.timedelta64(0, "us")
    assert held.sum() > 100
    newest = np.searchsorted(recorded.time, dataset.time.values, side="right") - 1
    np.testing.assert_array_equal(dataset["LINAC/MAGNET/001"].values[held], recorded.numpy()[newest[held]])
    assert (dataset["LINAC/MAGNET/001.status"].values[held] == ravo.Status.HELD).all()


def test_chunks_are_cut_along_events(run: ravo.Run) -> None:
    pytest.importorskip("dask")
    label = "LINAC/BPM/001"
    whole = run.xarray([label])
    cut = run.xarray([label], chunks="20 kB")
    assert cut.chunks["event"] == (26,) * 7 + (18,)
    assert cut.chunks["sample"] == (64,)
    xr.testing.assert_equal(whole, cut.compute())
    xr.testing.assert_equal(whole, pickle.loads(pickle.dumps(cut)).compute())
    xr.testing.assert_equal(whole, run.xarray([label], chunks={"event": 7, "sample": 32}).compute())
    engine = opened(ravo.open(run.selection + f" chan={label}"), chunks={})
    assert engine.chunks["event"] == (200,)
    xr.testing.assert_equal(whole, engine.compute())


def test_provenance_opens_the_same_values_again(run: ravo.Run) -> None:
    array = run["LINAC/TOROID/001"].xarray()
    assert array.attrs["ravo_version"] == ravo.__version__
    again = ravo.open(array.attrs["ravo_selection"])["LINAC/TOROID/001"]
    xr.testing.assert_identical(array, again.xarray())
    assert array.attrs["ravo_digest"] == run.digest()["LINAC/TOROID/001"].text
    assert "ravo_digest" not in again.xarray(digest=False).attrs


def test_a_lazy_dataset_reads_nothing_before_values_are_used(run: ravo.Run) -> None:
    again = ravo.open(run.selection + " chan=LINAC/BPM/*")
    dataset = xr.open_dataset(again, engine="ravo")
    assert dataset["LINAC/BPM/001"].isel(event=slice(10, 20)).sel(event=1000015).shape == (3, 64)
    assert again.ledger.expected == 0
    dataset["LINAC/BPM/001"].isel(event=slice(10, 20)).load()
    assert again.ledger.expected == 10


def test_engine_leaves_out_what_is_dropped(run: ravo.Run) -> None:
    dropped = opened(run, drop_variables=["LINAC/BPM/001", "LINAC/RF/001.status"])
    assert "LINAC/BPM/001" not in dropped
    assert "LINAC/BPM/001.status" not in dropped
    assert "LINAC/RF/001.status" not in dropped
    assert "LINAC/RF/001" in dropped
    assert not [name for name in opened(run, status=False) if str(name).endswith(".status")]
