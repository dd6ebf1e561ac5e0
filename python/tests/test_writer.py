"""The writer: what goes in comes out, for every kind and both generations."""

import numpy as np
import pytest
import ravo

START = 1740816000


@pytest.fixture(params=["current", "older"])
def generation(request):
    return request.param


def written(folder, generation, name, values, **declaration):
    """Write the values of one channel, an event each, and return the channel."""
    with ravo.Writer(folder, generation=generation) as writer:
        if declaration:
            writer.channel(name, **declaration)
        for i, value in enumerate(values):
            writer.add(100 + i, START + i, {name: value})
    assert ravo.verify(writer.files).is_good or declaration.get("kind") is None
    return ravo.open(file=writer.files)[name]


def test_scalars(tmp_path, generation):
    channel = written(tmp_path, generation, "A/B", [1.5, 2, np.float64(-3), np.uint8(4)])
    assert channel.numpy().tolist() == [1.5, 2, -3, 4]


@pytest.mark.parametrize("shape", [(5,), (2, 3), (3, 7), (8, 2), (9, 2), (2, 3, 4)])
def test_spectra_of_every_shape(tmp_path, generation, shape):
    values = [np.arange(np.prod(shape), dtype=np.float32).reshape(shape) * i for i in range(4)]
    channel = written(tmp_path, generation, "A/B", values)
    assert channel.numpy().dtype == np.float32
    np.testing.assert_array_equal(channel.numpy(), np.stack(values))


def test_strided_and_foreign_arrays(tmp_path, generation):
    base = np.arange(24.0).reshape(4, 6)
    values = [base[:, ::2], base.T[:4, :3], np.asfortranarray(base[:, :3]), base[:, :3].astype(">f4")]
    channel = written(tmp_path, generation, "A/B", values)
    np.testing.assert_array_equal(channel.numpy(), np.stack(values).astype(np.float32))


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16, np.uint32])
def test_images(tmp_path, generation, dtype):
    top = np.iinfo(dtype).max
    values = [np.array([[0, 1, 2], [i, top, top - 1]], dtype) for i in range(3)]
    channel = written(tmp_path, generation, "A/B", values)
    assert channel.numpy().dtype == dtype
    np.testing.assert_array_equal(channel.numpy(), np.stack(values))


def test_profiles(tmp_path, generation):
    channel = written(tmp_path, generation, "A/B", [([1, 2, 3], [4, 5]), ([6, 7, 8], [9, 10])])
    assert channel.numpy().tolist() == [[1, 2, 3, 4, 5], [6, 7, 8, 9, 10]]


def test_texts(tmp_path, generation):
    texts = ["", "beam on", "grün µ", "x" * 1000]
    channel = written(tmp_path, generation, "A/B", texts)
    assert list(channel.numpy()) == texts


def test_names_and_values(tmp_path, generation):
    channel = written(tmp_path, generation, "A/B", [{"A": 1, "B": 2}, {"A": 3, "B": 4.5}])
    assert channel.numpy().tolist() == [[1, 2], [3, 4.5]]


@pytest.mark.parametrize("kind", ["slow", "environment"])
def test_slow_values_are_held_at_other_channels_events(tmp_path, generation, kind):
    with ravo.Writer(tmp_path, generation=generation) as writer:
        writer.channel("MAGNET", kind, unit="A")
        for i in range(6):
            values = {"FAST": float(i)}
            if i % 3 == 0:
                values["MAGNET"] = 20.0 + i
            writer.add(100 + i, START + i, values)
    assert ravo.verify(writer.files).is_damaged is False
    assert ravo.open(file=writer.files)["MAGNET"].numpy().tolist() == [20, 23]
    run = ravo.open(file=writer.files, slow="hold", join="with:FAST")
    assert [event["MAGNET"] for event in run.events()] == [20, 20, 20, 23, 23, 23]


def test_units_axis_and_times(tmp_path, generation):
    with ravo.Writer(tmp_path, generation=generation) as writer:
        writer.channel("A", unit="mm", axis="time", axis_unit="us", start=2, increment=0.5, summary="means")
        writer.add(7, "2025-03-01T08:00:00.250Z", {"A": [1.0, 2.0]})
    run = ravo.open(file=writer.files)
    assert run["A"].unit == "mm"
    assert run["A"].axis.values.tolist() == [2, 2.5]
    assert writer.files[0].name == "linac_main_run1_file1_20250301T080000Z.raw"


def test_a_data_type_by_name(tmp_path):
    with ravo.Writer(tmp_path) as writer:
        writer.channel("BPM", dtype="RAVO_BLOCK_BPM_2010", members=3)
        writer.add(1, START, {"BPM": np.ones((3, 4))})
        with pytest.raises(ValueError, match="has 3 members, not 2"):
            writer.add(2, START, {"BPM": np.ones((2, 4))})
    run = ravo.open(file=writer.files)
    assert run["BPM"].members == ("X", "Y", "CHARGE")


def test_an_error_drops_the_file_that_is_open(tmp_path, generation):
    def fail():
        with ravo.Writer(tmp_path, generation=generation, max_events=2) as writer:
            for i in range(3):
                writer.add(i, START + i, {"A": float(i)})
            raise RuntimeError

    with pytest.raises(RuntimeError):
        fail()
    assert [path.name.split("_")[3] for path in tmp_path.iterdir()] == ["file1"]


def test_an_event_that_is_refused_leaves_the_others(tmp_path, generation):
    with ravo.Writer(tmp_path, generation=generation) as writer:
        writer.add(1, START, {"A": 1.0, "B": "text"})
        with pytest.raises(ValueError, match='value of "B" at event 2: a text is a str'):
            writer.add(2, START + 1, {"A": 2.0, "B": 5})
        with pytest.raises(ValueError, match="comes after the first event"):
            writer.add(2, START + 1, {"A": 2.0, "C": 5})
        with pytest.raises(ValueError, match="time"):
            writer.add(2, START - 1, {"A": 2.0})
        writer.add(3, START + 2, {"A": 3.0})
    run = ravo.open(file=writer.files)
    assert run["A"].numpy().tolist() == [1, 3]
    assert ravo.verify(writer.files).is_damaged is False


@pytest.mark.parametrize(
    ("value", "why"),
    [
        (1e39, "too large for float32"),
        (2**24 + 1, "more than 24 bits"),
        (2**60 + 1, "more than 24 bits"),
        (1j, "not of complex128"),
        (np.zeros((1, 1, 1, 1)), "at most 3 dimensions"),
        (None, "not of object"),
        ({"x" * 80: 1.0}, "longer than 79 bytes"),
    ],
)
def test_values_that_would_change_are_refused(tmp_path, value, why):
    with ravo.Writer(tmp_path) as writer, pytest.raises(ValueError, match=why):
        writer.add(1, START, {"A": value})


def test_not_finite_numbers_stay(tmp_path, generation):
    channel = written(tmp_path, generation, "A", [np.array([np.nan, np.inf, -np.inf])])
    np.testing.assert_array_equal(channel.numpy(), [[np.nan, np.inf, -np.inf]])


def test_a_run_in_the_catalogue(tmp_path):
    with ravo.Writer(tmp_path / "raw", run=7, catalog=tmp_path / "cat") as writer:
        writer.add(1, START, {"A": 1.0})
    found = ravo.find_files(run=7, catalog=tmp_path / "cat")
    assert found.files == [str(writer.files[0])]


def test_a_folder_that_cannot_be_written_is_an_os_error(tmp_path):
    (tmp_path / "file").write_text("")
    with pytest.raises(OSError, match="file"):
        ravo.Writer(tmp_path / "file")


def test_a_closed_writer_refuses(tmp_path):
    with ravo.Writer(tmp_path) as writer:
        writer.add(1, START, {"A": 1.0})
    assert writer.close() == writer.files
    with pytest.raises(ValueError, match="closed"):
        writer.add(2, START, {"A": 1.0})
    assert "closed" in repr(writer)
