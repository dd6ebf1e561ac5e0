"""Tables of pandas, Arrow and Awkward against the values."""

from __future__ import annotations

from pathlib import Path
from typing import Any

import numpy as np
import pytest
import ravo


@pytest.fixture(scope="module")
def run(folder: Path) -> ravo.Run:
    return ravo.open(folder, slow="hold")


def natural(values: ravo.Values) -> list[Any]:
    """Values in Python's types; None where there is none."""
    masked = values.masked()
    rows = []
    for row, value in enumerate(masked.data):
        if not ravo.Status(int(values.status[row])).has_value:
            rows.append(None)
        else:
            rows.append(value.tolist() if isinstance(value, (np.ndarray, np.generic)) else value)
    return rows


# ---- pandas


def test_a_table_has_the_values_of_its_channels(run: ravo.Run) -> None:
    pytest.importorskip("pandas")
    labels = ["LINAC/ENERGY/001", "LINAC/MAGNET/001", "LINAC/STATUS/001", "LINAC/MESSAGE/001"]
    table = run.dataframe(labels, status=True, age=True)
    rows = np.isin(run.event, table.index.to_numpy())
    assert table.index.name == "event_number"
    assert str(table["time"].dtype) == "datetime64[us, UTC]"
    np.testing.assert_array_equal(table["time"].dt.tz_localize(None).to_numpy(), run.time[rows])
    for label in labels:
        values = run[label].aligned().read()
        np.testing.assert_array_equal(table[f"{label}.status"], values.status[rows])
    energy = run["LINAC/ENERGY/001"].aligned()
    np.testing.assert_array_equal(table["LINAC/ENERGY/001"], energy.numpy()[rows])
    np.testing.assert_array_equal(table["LINAC/MAGNET/001.age"], run["LINAC/MAGNET/001"].aligned().read().age[rows])
    records = run["LINAC/STATUS/001"].aligned()["LASER_ENERGY"].numpy()
    np.testing.assert_array_equal(table["LINAC/STATUS/001:LASER_ENERGY"], records[rows])
    texts = table["LINAC/MESSAGE/001"].dropna()
    assert texts.tolist() == run["LINAC/MESSAGE/001"].numpy().tolist()


def test_members_are_columns_and_parts_are_tables(run: ravo.Run) -> None:
    pytest.importorskip("pandas")
    bpm = run["LINAC/BPM/001"]
    table = bpm[10:20, :, 3].pandas()
    assert table.columns.tolist() == ["time", "LINAC/BPM/001:X", "LINAC/BPM/001:Y", "LINAC/BPM/001:CHARGE"]
    np.testing.assert_array_equal(table.iloc[:, 1:], bpm.numpy()[10:20, :, 3])
    assert bpm["Y"][:, 3].pandas().columns.tolist() == ["time", "LINAC/BPM/001:Y"]
    assert len(bpm[5, :, 3].pandas()) == 1
    with pytest.raises(LookupError, match=r"3 members x 64 samples.*\[\.\.\., 0\]"):
        bpm.pandas()
    with pytest.raises(LookupError, match="LINAC/BPM/001"):
        run.dataframe(["LINAC/ENERGY/001", "LINAC/BPM/001"])
    with pytest.raises(TypeError, match=r"\['LINAC/ENERGY/001'\]"):
        run.dataframe("LINAC/ENERGY/001")


def test_missing_integers_are_nullable(by_hand: Path) -> None:
    pytest.importorskip("pandas")
    column = ravo.open(by_hand)["LINAC/CAMERA_EXT/001"][:, 3, 4].pandas()["LINAC/CAMERA_EXT/001"]
    assert str(column.dtype) == "UInt16"
    assert np.flatnonzero(column.isna()).tolist() == [7]


def test_ledgers_and_indexes_are_tables(damaged: Path) -> None:
    pytest.importorskip("pandas")
    run = ravo.open(damaged)
    run.xarray(fill=0)
    ledger = ravo.to_pandas(run.ledger)
    assert ledger["expected"].sum() == run.ledger.expected
    assert (ledger["expected"] == ledger["delivered"] + ledger["missing"]).all()
    assert (ledger.iloc[:, 3:].sum(axis=1) == ledger["missing"]).all()
    assert ledger["missing"].sum() >= 2
    index = ravo.to_pandas(run.index(["LINAC/TOROID/GAPS", "LINAC/MAGNET/001"], rows="events"))
    assert len(index) == 2 * len(run.event)
    recorded = index[index["channel"] == "LINAC/TOROID/GAPS"].query("status == 'RECORDED'")
    np.testing.assert_array_equal(recorded["event_number"], run["LINAC/TOROID/GAPS"].event)


# ---- Arrow


def test_arrow_has_the_values_and_nulls_of_every_kind(by_hand: Path, folder: Path) -> None:
    pytest.importorskip("pyarrow")
    compared = 0
    for run in (ravo.open(by_hand), ravo.open(folder)):
        for channel in run.values():
            for part in (channel, channel[::-3], channel[[2, 2, 0]] if len(channel) > 2 else channel[:0]):
                values = part.read()
                array = part.arrow()
                assert array.null_count == values.missing
                if channel.kind != ravo.Kind.NONE and not values.column.is_ragged:
                    assert array.to_pylist() == natural(values)
                    compared += len(array)
    assert compared > 1000


def test_arrow_has_parts_of_rows(run: ravo.Run) -> None:
    pytest.importorskip("pyarrow")
    bpm = run["LINAC/BPM/001"]
    assert bpm["X"][:10, 3:5].arrow().to_pylist() == bpm["X"][:10, 3:5].numpy().tolist()
    assert bpm[3].arrow().to_pylist() == [bpm[3].numpy().tolist()]
    status = run["LINAC/STATUS/001"]["BUNCHES"]
    assert status.aligned().arrow().null_count == len(run.event) - len(status)
    with pytest.raises(LookupError, match=r"\.arrow\(\)"):
        bpm[::-1].__arrow_c_array__()


def test_whole_rows_share_memory_with_the_reading(run: ravo.Run) -> None:
    pa = pytest.importorskip("pyarrow")
    values = run["LINAC/BPM/001"].read()
    flat = pa.array(values.column).flatten().flatten().to_numpy(zero_copy_only=True)
    assert np.shares_memory(flat, values.numpy())


def test_arrow_tables_say_where_they_come_from(run: ravo.Run) -> None:
    pytest.importorskip("pyarrow")
    labels = ["LINAC/ENERGY/001", "LINAC/MAGNET/001"]
    table = run.arrow(labels)
    assert table.schema.metadata[b"ravo_selection"].decode() == run.selection
    assert table.schema.field("LINAC/ENERGY/001").metadata == {b"units": b"MeV"}
    for label in labels:
        values = run[label].aligned().read()
        assert table[label].to_pylist() == natural(values)
        assert table[f"{label}.status"].to_pylist() == values.status.tolist()
    assert table["event_number"].to_pylist() == run.event.tolist()


def test_polars_and_duckdb_read_tables_and_batches(run: ravo.Run) -> None:
    pytest.importorskip("pyarrow")
    labels = ["LINAC/ENERGY/001", "LINAC/MESSAGE/001", "LINAC/BPM/001"]
    table = run.arrow(labels)
    expected = np.nansum(run["LINAC/ENERGY/001"].aligned().numpy().astype(np.float64))
    polars = pytest.importorskip("polars")
    rows = table
    frame = polars.from_arrow(table)
    assert frame["LINAC/ENERGY/001"].cast(polars.Float64).sum() == pytest.approx(expected)
    assert frame["LINAC/MESSAGE/001"].drop_nulls().to_list() == run["LINAC/MESSAGE/001"].numpy().tolist()
    duckdb = pytest.importorskip("duckdb")
    assert rows.num_rows == 202
    total, count = duckdb.sql('select sum("LINAC/ENERGY/001"::double), count("LINAC/ENERGY/001") from rows').fetchall()[
        0
    ]
    assert total == pytest.approx(expected)
    assert count == 200


def test_batches_are_the_run_in_parts_of_a_size(run: ravo.Run) -> None:
    pa = pytest.importorskip("pyarrow")
    labels = ["LINAC/BPM/001", "LINAC/ENERGY/001"]
    batches = list(run.batches("20 kB", labels))
    assert len(batches) > 4
    for batch in batches[:-1]:
        assert sum(values.column.values.nbytes for values in batch.values()) <= 22_000
    joined = pa.concat_tables([pa.table(batch) for batch in batches])
    assert joined.equals(run.arrow(labels).cast(joined.schema))
    assert len(list(run.batches(1, ["LINAC/ENERGY/001"]))) == len(run.event)


# ---- Awkward


def test_awkward_has_the_values_of_every_kind(by_hand: Path, folder: Path) -> None:
    pytest.importorskip("awkward")
    ragged = 0
    for run in (ravo.open(by_hand), ravo.open(folder)):
        for channel in run.values():
            for part in (channel, channel[::-3]):
                values = part.read()
                assert part.awkward().to_list() == natural(values)
                ragged += values.column.is_ragged
    assert ragged >= 2
    camera = ravo.open(by_hand)["LINAC/CAMERA/001"].awkward()
    assert str(camera.type) == "200 * var * var * uint8"
    assert [len(camera[4]), len(camera[5])] == [48, 64]


def test_awkward_has_parts_of_rows(run: ravo.Run) -> None:
    pytest.importorskip("awkward")
    part = run["LINAC/BPM/001"]["X"][:10, 3:5]
    assert part.awkward().to_list() == part.numpy().tolist()
    records = run["LINAC/STATUS/001"]["BUNCHES"].aligned()[:10]
    assert records.awkward().to_list() == natural(records.read())


# ---- what is not installed


@pytest.mark.parametrize(
    ("module", "extra", "read"),
    [
        ("xarray", "xarray", lambda run: run["LINAC/ENERGY/001"].xarray()),
        ("xarray", "xarray", lambda run: run.xarray()),
        ("pandas", "pandas", lambda run: run["LINAC/ENERGY/001"].pandas()),
        ("pandas", "pandas", lambda run: run.dataframe()),
        ("pandas", "pandas", lambda run: ravo.to_pandas(run.ledger)),
        ("pyarrow", "arrow", lambda run: run["LINAC/ENERGY/001"].arrow()),
        ("pyarrow", "arrow", lambda run: run.arrow()),
        ("awkward", "awkward", lambda run: run["LINAC/ENERGY/001"].awkward()),
        ("dask", "dask", lambda run: run.xarray(chunks={})),
    ],
)
def test_what_is_not_installed_is_named_with_the_remedy(
    module: str, extra: str, read: Any, run: ravo.Run, monkeypatch: pytest.MonkeyPatch
) -> None:
    if module == "dask":
        pytest.importorskip("xarray")
    import sys

    monkeypatch.setitem(sys.modules, module, None)
    with pytest.raises(ImportError, match=rf"pip install 'ravo\[{extra}\]'"):
        read(run)
