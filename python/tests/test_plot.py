"""Plots by what the artists hold: numbers, bands, pictures, marks and labels."""

from __future__ import annotations

import doctest
import sys
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import numpy as np
import pytest
import ravo

matplotlib = pytest.importorskip("matplotlib")
matplotlib.use("Agg")

import matplotlib.pyplot as plt  # noqa: E402


@pytest.fixture(autouse=True)
def closed_figures() -> Iterator[None]:
    yield
    plt.close("all")


def legend_of(ax: Any) -> list[str]:
    legend = ax.get_legend()
    return [] if legend is None else [text.get_text() for text in legend.get_texts()]


def line_of(ax: Any, label: str) -> Any:
    return next(line for line in ax.lines if line.get_label() == label)


def band_of(ax: Any, number: int = 0) -> tuple[Any, Any]:
    """Least and greatest of a band, in the order of its places."""
    points = ax.collections[number].get_paths()[0].vertices
    by_place: dict[float, list[float]] = {}
    for place, height in points:
        by_place.setdefault(place, []).append(height)
    ordered = sorted(by_place.items())
    return np.array([min(heights) for _, heights in ordered]), np.array([max(heights) for _, heights in ordered])


def test_a_number_is_a_line_over_time(folder: Path) -> None:
    energy = ravo.open(folder, chan="LINAC/ENERGY/001")["LINAC/ENERGY/001"]
    ax = energy.plot()
    np.testing.assert_array_equal(ax.lines[0].get_ydata(), energy.numpy().astype(float))
    np.testing.assert_array_equal(ax.lines[0].get_xdata(), energy.time)
    assert ax.get_xlabel() == "time (UTC)"
    assert ax.get_ylabel() == "energy [MeV]"
    title = ax.get_title(loc="left")
    assert "LINAC/ENERGY/001: beam energy" in title
    assert "2025-03-01 08:00:00.101 to 08:00:20.001 UTC, 200 events, 1000001 to 1000200" in title
    assert "linac/main" in title
    assert legend_of(ax) == []


def test_the_axes_that_are_given_are_drawn_on(folder: Path) -> None:
    energy = ravo.open(folder, chan="LINAC/ENERGY/001")["LINAC/ENERGY/001"]
    _, given = plt.subplots()
    assert energy[:20].plot(ax=given, x="event") is given
    np.testing.assert_array_equal(given.lines[0].get_xdata(), energy.event[:20])
    assert given.get_xlabel() == "event number"
    with pytest.raises(ValueError, match="colour"):
        energy.plot(x="colour")  # type: ignore[arg-type]


def test_many_numbers_are_reduced_and_none_is_passed_over(folder: Path) -> None:
    energy = ravo.open(folder, chan="LINAC/ENERGY/001")["LINAC/ENERGY/001"]
    values = energy.numpy().astype(float)
    envelope = energy.envelope(20, by="time")
    ax = energy.plot(bins=20)
    np.testing.assert_array_equal(line_of(ax, "mean").get_ydata(), envelope.series[0].mean)
    least, greatest = band_of(ax)
    assert least.min() == values.min()
    assert greatest.max() == values.max()
    assert legend_of(ax) == ["mean", "least to greatest"]


def test_a_part_with_many_numbers_is_reduced_alike(folder: Path) -> None:
    part = ravo.open(folder, chan="LINAC/BPM/001")["LINAC/BPM/001"][:, :2, 5]
    values = part.numpy().astype(float)
    ax = part.plot(bins=40)
    assert legend_of(ax) == ["X", "least to greatest", "Y"]
    for place, name in enumerate("XY"):
        bins = values[:, place].reshape(40, 5)
        np.testing.assert_allclose(line_of(ax, name).get_ydata(), bins.mean(axis=1), rtol=1e-12, atol=1e-15)
        least, greatest = band_of(ax, place)
        np.testing.assert_array_equal(least, bins.min(axis=1))
        np.testing.assert_array_equal(greatest, bins.max(axis=1))


def test_missing_values_are_gaps_and_marks_with_a_legend(damaged: Path) -> None:
    run = ravo.open(damaged)
    label = next(name for name in run if run[name].read().missing and run[name].ndim == 3)
    part = run[label][:, :, 5]
    missing = np.flatnonzero(np.isin(part.status, [0, 2, 3], invert=True))
    assert len(missing) == 1
    ax = part.plot()
    for line in ax.lines[: part.shape[1]]:
        np.testing.assert_array_equal(np.flatnonzero(np.isnan(line.get_ydata())), missing)
    marks = next(line for line in ax.lines if "missing" in str(line.get_label()))
    np.testing.assert_array_equal(marks.get_xdata(), part.time[missing])
    assert marks.get_label() == f"1 missing: {ravo.Status(int(part.status[missing[0]])).text}"
    assert marks.get_label() in legend_of(ax)
    for other in (run[label].plot(), run[label][missing[0]].plot(), part.plot(bins=10)):
        assert marks.get_label() in legend_of(other)


def test_events_that_were_not_recorded_are_gaps(folder: Path) -> None:
    charge = ravo.open(folder, chan="LINAC/TOROID/GAPS")["LINAC/TOROID/GAPS"][:, 0]
    steps = np.diff(charge.event.astype(int))
    gaps = np.flatnonzero(steps > 1) + 1
    ax = charge.plot(x="event")
    heights = ax.lines[0].get_ydata()
    assert np.isnan(heights).sum() == len(gaps) > 0
    np.testing.assert_array_equal(heights[~np.isnan(heights)], charge.numpy().astype(float))
    assert f"{len(gaps)} gaps: not recorded" in legend_of(ax)
    assert ax.lines[0].get_label() == "value"


def test_slow_values_are_steps(folder: Path) -> None:
    ax = ravo.open(folder, chan="LINAC/MAGNET/001")["LINAC/MAGNET/001"].plot()
    assert ax.lines[0].get_drawstyle() == "steps-post"
    assert ax.get_ylabel() == "value [A]"


def test_name_value_lists_are_a_line_a_record(folder: Path) -> None:
    status = ravo.open(folder, chan="LINAC/STATUS/001")["LINAC/STATUS/001"]
    ax = status.plot()
    assert legend_of(ax) == list(status.members)
    for name in status.members:
        np.testing.assert_array_equal(line_of(ax, name).get_ydata(), status[name].numpy())
    assert legend_of(status.plot(bins=5))[0] == status.members[0]


def test_one_waveform_is_its_samples_with_units(folder: Path) -> None:
    bpm = ravo.open(folder, chan="LINAC/BPM/001")["LINAC/BPM/001"]
    ax = bpm[7].plot()
    for place, label in enumerate(["X [mm]", "Y [mm]", "CHARGE [nC]"]):
        np.testing.assert_array_equal(line_of(ax, label).get_ydata(), bpm[7, place].numpy())
        np.testing.assert_array_equal(line_of(ax, label).get_xdata(), bpm.axis.values)
    assert ax.get_xlabel() == "bunch time [us]"
    assert len(ax.collections) == 0


def test_many_waveforms_are_mean_and_band(folder: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    import ravo._plot

    spectrum = ravo.open(folder, chan="LINAC/SPECTRUM/001")["LINAC/SPECTRUM/001"]
    values = spectrum.numpy().astype(float)
    monkeypatch.setattr(ravo._plot, "_PIECE_BYTES", 100_000)  # several pieces
    ax = spectrum.plot()
    assert len(ax.collections) == 6
    line = line_of(ax, "CH1, group 2")
    np.testing.assert_allclose(line.get_ydata(), values[:, 1, 2].mean(axis=0), rtol=1e-12)
    least, greatest = band_of(ax, 5)
    np.testing.assert_array_equal(least, values[:, 1, 2].min(axis=0))
    np.testing.assert_array_equal(greatest, values[:, 1, 2].max(axis=0))
    assert ax.get_xlabel() == "wavelength [nm]"
    assert "mean of 200 events" in ax.get_ylabel()


def test_profiles_are_two_lines_at_their_pixels(folder: Path) -> None:
    profile = ravo.open(folder, chan="LINAC/PROFILE/001")["LINAC/PROFILE/001"]
    ax = profile[3].plot()
    values = profile[3].numpy()
    x_size = profile[3].read().column.shape_of_row(0)[1]
    np.testing.assert_array_equal(line_of(ax, "X").get_ydata(), values[:x_size])
    np.testing.assert_array_equal(line_of(ax, "Y").get_ydata(), values[x_size:])
    assert line_of(ax, "X").get_xdata()[0] == 16
    assert line_of(ax, "Y").get_xdata()[0] == 8


def test_a_picture_has_a_scale_and_axes(folder: Path) -> None:
    camera = ravo.open(folder, chan="LINAC/CAMERA_EXT/001")["LINAC/CAMERA_EXT/001"]
    ax = camera[10].plot()
    np.testing.assert_array_equal(ax.images[0].get_array(), camera[10].numpy())
    assert ax.images[0].get_cmap().name == "viridis"
    assert (ax.get_xlabel(), ax.get_ylabel()) == ("x [pixel]", "y [pixel]")
    assert ax.images[0].colorbar.ax.get_ylabel() == "pixel value"
    mean = camera.plot()
    np.testing.assert_allclose(mean.images[0].get_array(), camera.numpy().mean(axis=0))
    assert mean.images[0].colorbar.ax.get_ylabel() == "mean of 200 events"


def test_what_has_no_plot_is_refused_with_the_reason(folder: Path) -> None:
    run = ravo.open(folder)
    with pytest.raises(ravo.AccessError, match="holds texts"):
        run["LINAC/MESSAGE/001"].plot()
    with pytest.raises(ravo.AccessError, match="no value"):
        run["LINAC/TOROID/SPARE"].plot()
    with pytest.raises(ravo.AccessError, match="is a number"):
        run["LINAC/ENERGY/001"][3].plot()
    assert plt.get_fignums() == []


def test_availability_is_a_row_a_channel(folder: Path) -> None:
    run = ravo.open(folder, chan=["LINAC/TOROID/*", "LINAC/RF/LATE"])
    found = run.availability(40)
    ax = found.plot()
    assert [text.get_text() for text in ax.get_yticklabels()] == list(run)
    drawn = np.ma.masked_invalid(ax.collections[0].get_array()).reshape(len(run), 40)
    for row, channel in enumerate(found.channels):
        np.testing.assert_array_equal(np.ma.getmaskarray(drawn)[row], channel.recorded == 0)
        assert channel.recorded.sum() == len(run[channel.channel])


def test_availability_of_many_channels_names_some(folder: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    import ravo._plot

    monkeypatch.setattr(ravo._plot, "_MOST_NAMES", 10)
    run = ravo.open(folder)
    names = [text.get_text() for text in run.availability(5).plot().get_yticklabels()]
    assert names == list(run)[:: -(-len(run) // 10)]
    assert len(names) <= 10


def test_availability_marks_files_that_cannot_be_read(folder: Path, tmp_path: Path) -> None:
    files = [Path(file.path) for file in ravo.open(folder).files]
    for file in files:
        (tmp_path / file.name).write_bytes(file.read_bytes()[: None if file == files[0] else 1000])
    run = ravo.open(tmp_path, chan="LINAC/BPM/001")
    found = run.availability(20, start="2025-03-01T08:00:00", end="2025-03-01T08:00:20")
    assert found.channels[0].is_file_missing.any()
    assert any("file missing" in text for text in legend_of(found.plot()))


def test_without_matplotlib_the_message_says_what_to_install(folder: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    run = ravo.open(folder, chan="LINAC/ENERGY/001")
    monkeypatch.setitem(sys.modules, "matplotlib.pyplot", None)
    monkeypatch.delitem(sys.modules, "ravo._plot", raising=False)
    with pytest.raises(ImportError, match=r"pip install 'ravo\[plot\]'"):
        run["LINAC/ENERGY/001"].plot()
    with pytest.raises(ImportError, match=r"pip install 'ravo\[plot\]'"):
        run.availability().plot()


@pytest.mark.parametrize("what", [ravo.Channel.plot, ravo.Availability])
def test_the_examples_of_the_documentation_run(folder: Path, what: Any) -> None:
    globals_ = {"ravo": ravo, "run": ravo.open(folder)}
    found = doctest.DocTestFinder().find(what, what.__name__, module=False, globs=globals_)
    results = [doctest.DocTestRunner().run(example) for example in found]
    assert sum(result.attempted for result in results) >= 2
    assert sum(result.failed for result in results) == 0
