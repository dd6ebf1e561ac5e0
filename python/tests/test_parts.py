"""Parts of channels: members, profiles and samples that the reading cuts, rows that differ in shape, files
that are not there."""

from __future__ import annotations

import pickle
import subprocess
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
import ravo

Rows = Callable[[Path, str], list[dict[str, Any]]]


def with_members(run: ravo.Run) -> list[ravo.Channel]:
    return [channel for channel in run.values() if "member" in channel.dims]


def test_a_member_equals_the_slice_of_the_whole(folder: Path) -> None:
    run = ravo.open(folder)
    compared = 0
    for channel in with_members(run):
        whole = channel.numpy()
        for place, name in enumerate(channel.members):
            member = channel[name]
            np.testing.assert_array_equal(member.numpy(), whole[:, place])
            np.testing.assert_array_equal(channel[:, place : place + 1].numpy(), whole[:, place : place + 1])
            np.testing.assert_array_equal(channel[5:50:3, place].numpy(), whole[5:50:3, place])
            np.testing.assert_array_equal(member[[4, 2]][..., -3:].numpy(), whole[[4, 2], place][..., -3:])
            assert member.shape == whole[:, place].shape
            assert member.members == (name,)
            compared += 1
    assert compared > 10


def test_of_a_member_nothing_else_is_stored(folder: Path) -> None:
    channel = ravo.open(folder)["LINAC/RF/001"]
    column = channel["PHASE" if "PHASE" in channel.members else channel.members[1]].read().column
    assert column.values.nbytes * 2 == channel.read().column.values.nbytes


def test_damaged_members_have_the_status_of_the_whole(damaged: Path) -> None:
    run = ravo.open(damaged)
    missing = 0
    for channel in with_members(run):
        whole = channel.read()
        for place, name in enumerate(channel.members):
            values = channel[name].read()
            np.testing.assert_array_equal(values.status, whole.status)
            np.testing.assert_array_equal(values.numpy(), whole.numpy()[:, place])
        missing += whole.missing
    assert missing >= 1
    assert run.ledger.is_balanced


def test_profiles_of_a_region_are_taken_by_name(folder: Path, rows_of: Rows) -> None:
    run = ravo.open(folder)
    label = next(label for label in run if run[label].kind == ravo.Kind.ROI)
    channel = run[label]
    assert len(channel.members) == 2
    rows = rows_of(folder, label)
    whole = channel.numpy()
    start = 0
    for place, name in enumerate(channel.members):
        profile = channel[name]
        assert profile.dims == ("event", "sample")
        assert profile.kind == ravo.Kind.SPECTRUM
        assert profile.members == (name,)
        expected = np.asarray([row["members"][place]["values"] for row in rows if "members" in row], np.float32)
        values = profile.masked()
        np.testing.assert_array_equal(values.compressed().reshape(expected.shape), expected)
        np.testing.assert_array_equal(profile.numpy(), whole[:, start : start + profile.shape[1]])
        np.testing.assert_array_equal(profile[3:8, 2:9:2].numpy(), profile.numpy()[3:8, 2:9:2])
        assert channel[10:20][name].shape == (10, profile.shape[1])
        axis = profile.axis
        assert axis is not None
        value = next(event[label] for event in run.events() if event[label])
        assert axis.start == value.axis[0 if place == 0 else 3]
        start += profile.shape[1]
    assert start == whole.shape[1]
    with pytest.raises(ravo.ChannelNotFound, match="no member"):
        channel["Z"]
    with pytest.raises(ravo.ChannelNotFound, match="no member"):
        channel[channel.members[0]][channel.members[1]]


def test_records_are_taken_by_name(folder: Path) -> None:
    run = ravo.open(folder)
    label = next(label for label in run if run[label].kind == ravo.Kind.NAME_VALUE)
    lists = run[label].numpy()
    for name in run[label].members:
        expected = [np.nan if one is None else one.get(name, np.nan) for one in lists]
        np.testing.assert_array_equal(run[label][name].numpy(), np.asarray(expected, np.float32))
    nowhere = run[label]["NOWHERE"].read()
    assert np.isnan(nowhere.numpy()).all()
    assert set(nowhere.status[nowhere.column.status == ravo.Status.OK]) <= {ravo.Status.NOT_RECORDED}


# ---- rows that differ in shape


@pytest.fixture(scope="module")
def ragged(tool: str, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """Two files; in the second one a single number and a spectrum have each other's names."""
    made = tmp_path_factory.mktemp("ragged")
    subprocess.run([tool, "simulate", str(made), "--compression", "none"], check=True, capture_output=True)
    second = sorted(made.glob("*.raw"))[1]
    one, other, between = b"LINAC/ENERGY/001", b"LINAC/TOROID/001", b"LINAC/??????/001"
    data = second.read_bytes().replace(one, between).replace(other, one).replace(between, other)
    second.write_bytes(data)
    return made


def test_rows_that_differ_in_shape_are_read_whole(ragged: Path) -> None:
    run = ravo.open(ragged)
    energy, toroid = run["LINAC/ENERGY/001"].read(), run["LINAC/TOROID/001"].read()
    assert energy.column.is_ragged
    assert toroid.column.is_ragged
    shapes = {np.shape(row) for row in energy.numpy()}
    assert len(shapes) == 2
    events = {event.number: event for event in run.events()}
    for label, values in (("LINAC/ENERGY/001", energy), ("LINAC/TOROID/001", toroid)):
        for number, row in zip(values.event.tolist(), values.numpy(), strict=True):
            np.testing.assert_array_equal(np.ravel(events[number][label].values), np.ravel(row))


@pytest.mark.parametrize("key", [np.s_[..., 3:], np.s_[..., -1], np.s_[..., ::2], np.s_[..., 5], np.s_[..., 60:64]])
def test_samples_of_rows_that_differ_in_shape_are_refused(ragged: Path, key: Any) -> None:
    channel = ravo.open(ragged)["LINAC/TOROID/001"]
    assert "sample" in channel.dims
    with pytest.raises(ravo.ShapeError, match="differ in shape"):
        channel[key].numpy()
    with pytest.raises(ValueError, match="differ in shape"):
        channel[key].masked()


def test_samples_of_rows_of_one_shape_are_taken_where_others_differ(ragged: Path) -> None:
    channel = ravo.open(ragged)["LINAC/TOROID/001"]
    first_file = channel[: len(ravo.open(sorted(ragged.glob("*.raw"))[0])["LINAC/TOROID/001"])]
    whole = np.stack(list(first_file.numpy()))
    np.testing.assert_array_equal(first_file[..., 3:10].numpy(), whole[..., 3:10])
    np.testing.assert_array_equal(first_file[..., -1].numpy(), whole[..., -1])


def test_longer_rows_are_not_cut_without_a_word(ragged: Path) -> None:
    """The first file has the single numbers, so that the channel is one of single numbers."""
    channel = ravo.open(ragged)["LINAC/ENERGY/001"]
    assert channel.dims == ("event",)
    with pytest.raises(ravo.AccessError, match="dimensions"):
        channel[:, 0]
    assert channel.numpy().dtype == object


# ---- files that are not there


def test_a_listed_file_that_does_not_exist_is_named(folder: Path) -> None:
    there = sorted(folder.glob("*.raw"))
    wrong = there[0].with_name(there[0].name.replace("run1", "run01"))
    with pytest.raises(FileNotFoundError, match="did you mean") as raised:
        ravo.open([wrong, *there])
    assert str(there[0]) in str(raised.value)
    assert raised.value.filename == str(wrong)
    with pytest.raises(ravo.FilesNotFound, match="no folder"):
        ravo.open(Path("/nowhere/at/all.raw"))
    with pytest.raises(ravo.SelectionError):
        ravo.open(f"file={wrong}")


def test_a_file_that_goes_missing_is_file_not_found(folder: Path, tmp_path: Path) -> None:
    paths = []
    for path in sorted(folder.glob("*.raw")):
        (tmp_path / path.name).symlink_to(path)
        paths.append(tmp_path / path.name)
    run = ravo.open(paths)
    pickled, part = pickle.dumps(run), run.partitions(count=2)[1]
    paths[1].unlink()
    for open_again in (lambda: pickle.loads(pickled), lambda: ravo.open(part), lambda: ravo.open(run.selection)):
        with pytest.raises(FileNotFoundError) as raised:
            open_again()
        assert paths[1].name in str(raised.value)


def test_a_file_that_is_known_to_be_missing_is_file_not_found_unless_allowed(folder: Path) -> None:
    text = ravo.open(folder).selection + " left_out=missing:/gone.raw"
    assert [file.path for file in ravo.open(text).ledger.files] == ["/gone.raw"]
    with pytest.raises(FileNotFoundError, match=r"/gone\.raw") as raised:
        ravo.open(text, largest_missing_share=0.0)
    assert isinstance(raised.value, ravo.FileMissing)
    assert isinstance(raised.value, ravo.MissingData)


def test_a_file_that_is_no_raw_file_is_left_out(folder: Path, tmp_path: Path) -> None:
    wrong = tmp_path / "linac_main_run1_file9_20250301T080000Z.raw"
    wrong.write_bytes(b"no raw file at all" * 100)
    with pytest.raises(ravo.FileLeftOut) as raised:
        ravo.open([*folder.glob("*.raw"), wrong], largest_missing_share=0.0)
    assert not isinstance(raised.value, FileNotFoundError)
