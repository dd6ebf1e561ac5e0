"""Times that callers give: of day, of a date, of several types."""

from __future__ import annotations

import datetime
import subprocess
from pathlib import Path

import numpy as np
import pytest
import ravo


@pytest.fixture(scope="module")
def channel(folder: Path) -> ravo.Channel:
    return ravo.open(folder)["LINAC/ENERGY/001"]


@pytest.fixture(scope="module")
def two_days(tool: str, tmp_path_factory: pytest.TempPathFactory) -> ravo.Run:
    """Events from 23:59:55 on."""
    made = tmp_path_factory.mktemp("two_days")
    command = [tool, "simulate", str(made), "--start", "2025-03-01T23:59:55Z"]
    subprocess.run(command, check=True, capture_output=True)
    return ravo.open(made)


@pytest.mark.parametrize(
    ("start", "stop"),
    [
        ("08:00:05", "08:00:10"),
        ("2025-03-01T08:00:05", "2025-03-01 08:00:10Z"),
        (datetime.datetime(2025, 3, 1, 8, 0, 5), datetime.datetime(2025, 3, 1, 8, 0, 10, tzinfo=datetime.UTC)),
        (np.datetime64("2025-03-01T08:00:05"), np.datetime64("2025-03-01T08:00:10.000000")),
        (1740816005, 1740816010.0),
    ],
)
def test_a_slice_of_times_has_both_ends(channel: ravo.Channel, start: object, stop: object) -> None:
    part = channel.sel(time=slice(start, stop))
    limits = np.datetime64("2025-03-01T08:00:05"), np.datetime64("2025-03-01T08:00:10")
    inside = (channel.time >= limits[0]) & (channel.time <= limits[1])
    np.testing.assert_array_equal(part.event, channel.event[inside])
    assert 40 < len(part) < 60


def test_open_ends_of_a_slice_of_times_are_those_of_the_data(channel: ravo.Channel) -> None:
    before, after = channel.sel(time=slice(None, "08:00:05")), channel.sel(time=slice("08:00:05", None))
    assert len(before) + len(after) == len(channel)


def test_a_time_of_day_is_refused_where_the_data_lie_on_two_days(two_days: ravo.Run) -> None:
    channel = two_days["LINAC/ENERGY/001"]
    with pytest.raises(ValueError, match=r"2025-03-01T23:59.*2025-03-02T23:59"):
        channel.sel(time=slice("23:59", None))
    with pytest.raises(ravo.SelectionError, match="both days"):
        two_days.at("00:00:01")
    part = channel.sel(time=slice("2025-03-01T23:59:55", "2025-03-01T23:59:59.999999"))
    assert 0 < len(part) < len(channel)
    assert (part.time < np.datetime64("2025-03-02")).all()


def test_events_are_selected_by_number(channel: ravo.Channel) -> None:
    assert channel.sel(event=slice(1000010, 1000019)).event.tolist() == list(range(1000010, 1000020))
    assert channel.sel(event=[1000007, 1000003]).event.tolist() == [1000007, 1000003]
    assert channel.sel(event=1000007).numpy() == channel.numpy()[channel.event == 1000007]
    with pytest.raises(LookupError, match="1000300"):
        channel.sel(event=1000300)
