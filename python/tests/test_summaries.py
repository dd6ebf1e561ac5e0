"""Envelopes, statistics, histograms and availability against NumPy over the values, of parts too; locate and
chunks; what a run shows of itself."""

from __future__ import annotations

import itertools
import subprocess
from pathlib import Path

import numpy as np
import pytest
import ravo
from ravo._core import Part

BPM = "LINAC/BPM/001"


@pytest.fixture(scope="module")
def run(tool: str, tmp_path_factory: pytest.TempPathFactory) -> ravo.Run:
    """Two files, of which blocks are damaged."""
    made = tmp_path_factory.mktemp("summaries")
    faults = ["--fault", "flipped-bit@1", "--fault", "flipped-bit-lzo@2"]
    subprocess.run([tool, "simulate", str(made), *faults], check=True, capture_output=True)
    return ravo.open(made)


def damaged_channel(run: ravo.Run) -> ravo.Channel:
    return next(channel for channel in run.values() if "member" in channel.dims and channel.read().missing)


# ---- statistics


def test_statistics_are_those_of_the_values(run: ravo.Run) -> None:
    for label in (BPM, damaged_channel(run).label, "LINAC/ENERGY/001"):
        channel = run[label]
        values = channel.read()
        statistics = channel.statistics()
        assert statistics.values == len(values)
        for status in ravo.Status:
            assert statistics.count_of(status) == np.count_nonzero(values.status == status)
        array = values.numpy().astype(np.float64)
        members = [array[:, place] for place in range(len(channel.members))] if "member" in channel.dims else [array]
        assert len(statistics.series) == len(members)
        for series, member in zip(statistics.series, members, strict=True):
            finite = member[np.isfinite(member)]
            assert series.least == finite.min()
            assert series.greatest == finite.max()
            assert series.mean == pytest.approx(finite.mean(), rel=1e-12)
            assert series.deviation == pytest.approx(finite.std(), rel=1e-9)
        assert statistics.first_event == values.event[0]
        assert statistics.ledger.is_balanced


def test_statistics_of_a_member_are_one_series(run: ravo.Run) -> None:
    whole = run[BPM].statistics()
    names = [series.name for series in whole.series]
    assert names == list(run[BPM].members)
    charge = run[BPM]["CHARGE"].statistics()
    assert [series.name for series in charge.series] == ["CHARGE"]
    assert charge.series[0].mean == whole.series[names.index("CHARGE")].mean
    assert charge.values == whole.values


def test_statistics_of_all_channels_are_those_of_each(run: ravo.Run) -> None:
    for label, one in run.statistics().items():
        alone = run[label].statistics()
        assert [(s.name, s.count, s.least) for s in one.series] == [(s.name, s.count, s.least) for s in alone.series]


def test_histograms_are_those_of_the_values(run: ravo.Run) -> None:
    channel = run[BPM]["X"]
    array = channel.numpy()
    made = channel.histogram(20)
    (series,) = made.series
    array = array[np.isfinite(array)]
    counts, edges = np.histogram(array.astype(np.float64), 20)
    np.testing.assert_array_equal(series.counts, counts)
    np.testing.assert_allclose(series.edges, edges)
    limited = channel.histogram(5, least=-0.1, greatest=0.1).series[0]
    assert limited.below == np.count_nonzero(array < np.float64(-0.1))
    assert limited.above == np.count_nonzero(array > np.float64(0.1))
    assert int(limited.counts.sum()) + limited.below + limited.above == array.size
    assert len(run[BPM].histogram(20).series) == 3


# ---- envelopes


def bins_of(channel: ravo.Channel, member: int, edges: np.ndarray, positions: np.ndarray) -> list[tuple[float, float]]:
    """Least and greatest of each bin, by NumPy."""
    array = channel.numpy()[:, member]
    made = []
    for first, last in itertools.pairwise(edges):
        inside = array[(positions >= first) & (positions < last)]
        inside = inside[np.isfinite(inside)]
        made.append((inside.min(), inside.max()) if inside.size else (np.nan, np.nan))
    return made


def event_positions(run: ravo.Run, channel: ravo.Channel) -> np.ndarray:
    return np.searchsorted(run.event, channel.event)


@pytest.mark.parametrize("rows", [slice(None), slice(20, 120), slice(7, 8), slice(119, 20, -1)])
def test_envelopes_are_those_of_the_values(run: ravo.Run, rows: slice) -> None:
    for whole in (run[BPM], damaged_channel(run), run["LINAC/BPM/HALF_RATE"]):
        channel = whole[rows]
        envelope = channel.envelope(13)
        positions = event_positions(run, channel)
        assert envelope.edges[0] == (0 if rows == slice(None) else positions.min())
        assert int(envelope.values.sum()) == len(channel)
        assert int(envelope.missing.sum()) == channel.read().missing
        for place, series in enumerate(envelope.series):
            expected = bins_of(channel, place, envelope.edges, positions)
            np.testing.assert_array_equal(np.stack([series.least, series.greatest], 1), np.asarray(expected))


def test_envelopes_of_a_time_and_a_member(run: ravo.Run) -> None:
    channel = run[BPM].sel(time=slice("08:00:03", "08:00:12"))["CHARGE"]
    envelope = channel.envelope(9, by="time")
    assert [series.name for series in envelope.series] == ["CHARGE"]
    times = channel.time.astype(np.int64)
    assert envelope.edges[0] == times[0]
    assert int(envelope.values.sum()) == len(channel)
    expected = bins_of(run[BPM].sel(time=slice("08:00:03", "08:00:12")), 2, envelope.edges, times)
    np.testing.assert_array_equal(envelope.series[0].least, [least for least, _ in expected])
    half = run[BPM].envelope(5, by="time", start="08:00:03", end="08:00:05")
    inside = (run[BPM].time >= np.datetime64("2025-03-01T08:00:03")) & (
        run[BPM].time < np.datetime64("2025-03-01T08:00:05")
    )
    assert int(half.values.sum()) == np.count_nonzero(inside)


def test_start_and_end_limit_the_rows_further(run: ravo.Run) -> None:
    channel = run[BPM][20:120]
    assert int(channel.envelope(3, start=100, end=500).values.sum()) == np.count_nonzero(
        event_positions(run, channel) >= 100
    )
    assert int(channel.envelope(3, end=25).values.sum()) == np.count_nonzero(event_positions(run, channel) < 25)


def test_a_profile_and_a_record_have_envelopes(run: ravo.Run) -> None:
    for label in run:
        if run[label].kind in (ravo.Kind.ROI, ravo.Kind.NAME_VALUE):
            for name in run[label].members:
                (series,) = run[label][name].envelope(7).series
                array = run[label][name].numpy()
                assert series.name == name
                assert np.nanmin(series.least) == np.nanmin(array)
                assert np.nanmax(series.greatest) == np.nanmax(array)


def test_parts_that_have_no_summary_are_refused(run: ravo.Run) -> None:
    channel = run[BPM]
    with pytest.raises(ravo.SelectionError, match="range of rows"):
        channel[::2].envelope()
    with pytest.raises(ravo.SelectionError, match="range of rows"):
        channel[[1, 5]].envelope()
    with pytest.raises(ravo.SelectionError, match="dimension sample"):
        channel[..., :10].envelope()
    with pytest.raises(ravo.SelectionError, match="event=1000011-1000020"):
        channel[10:20].statistics()
    with pytest.raises(ravo.SelectionError, match="all rows"):
        channel[3].histogram()
    with pytest.raises(ravo.SelectionError, match="dimension sample"):
        channel["X"][:, 3].statistics()
    with pytest.raises(ValueError, match="by="):
        channel.envelope(by="row")  # type: ignore[arg-type]


def test_the_remedy_of_statistics_works(run: ravo.Run) -> None:
    with pytest.raises(ravo.SelectionError) as raised:
        run[BPM][10:20].statistics()
    words = str(raised.value).split("'")[1]
    part = ravo.open(run.selection + words)[BPM].statistics()
    assert part.series[0].least == run[BPM][10:20, 0].numpy().min()


# ---- tables


def test_availability_counts_the_values_of_each_bin(run: ravo.Run) -> None:
    made = run.availability(10)
    assert [one.channel for one in made.channels] == run.channels
    for one in made.channels:
        times = run[one.channel].time.astype(np.int64)
        expected = [
            np.count_nonzero((times >= first) & (times < last))
            for first, last in zip(made.edges_us[:-1], made.edges_us[1:], strict=True)
        ]
        assert (one.recorded + one.damaged).tolist() == expected
        assert not one.is_file_missing.any()
    part = run.availability(4, start="08:00:05", end="08:00:07")
    assert part.edges_us[[0, -1]].tolist() == [
        int(np.datetime64(f"2025-03-01T08:00:0{second}", "us").astype(np.int64)) for second in (5, 7)
    ]


def test_locate_says_where_the_block_of_a_row_lies(run: ravo.Run) -> None:
    channel = damaged_channel(run)
    row = int(np.argmax(channel.read().status != ravo.Status.OK))
    place = run.locate(channel.label, row)
    assert place is not None
    assert place.event == channel.event[row]
    missing = next(one for one in channel.read().ledger.values if one.row == row)
    assert place.path == missing.file
    block = Path(place.path).read_bytes()[place.offset : place.offset + place.stored_bytes + 1000]
    assert channel.label.encode() in block
    with pytest.raises(ravo.AccessError):
        run.locate(channel.label, len(channel))


def test_chunks_are_the_column(run: ravo.Run) -> None:
    whole = run[BPM].numpy()
    part = Part()
    part.member = 1
    for size in (1, 3000, 1 << 30):
        chunks = list(run._dataset.column_chunks(BPM, size, part))
        np.testing.assert_array_equal(np.concatenate([chunk.values for chunk in chunks]), whole[:, 1])
        assert len(chunks) == 1 or size < 1 << 30
    batches = list(run.batches("20 kB", [BPM]))
    assert len(batches) > 3
    np.testing.assert_array_equal(
        np.concatenate([batch[BPM].masked().compressed() for batch in batches]), run[BPM].masked().compressed()
    )


# ---- what is shown


def test_html_and_text_name_channels_files_and_problems(run: ravo.Run, tmp_path: Path) -> None:
    html = run._repr_html_()
    assert html.startswith("<b>ravo.Run</b>")
    for part in (BPM, "LINAC/BPM (", "200", "2025-03-01"):
        assert part in html
    assert "slow" in repr(run)
    wrong = tmp_path / "linac_main_run1_file9_20250301T090000Z.raw"
    wrong.write_bytes(b"<i>no raw file</i>" * 100)
    broken = ravo.open([*(file.path for file in run.files), wrong])  # type: ignore[list-item]
    assert "1 are left out" in repr(broken)
    assert wrong.name in repr(broken)
    assert wrong.name in broken._repr_html_()


def test_html_escapes_what_files_say(run: ravo.Run, tmp_path: Path) -> None:
    folder = tmp_path / "<script>&"
    folder.mkdir()
    for file in run.files:
        (folder / Path(file.path).name).symlink_to(file.path)
    html = ravo.open(folder)._repr_html_()
    assert "<script>" not in html
    assert "&lt;script&gt;" in html
