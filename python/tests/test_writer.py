"""The writer: what goes in comes out, for every kind and both generations."""

import resource
import signal
import subprocess
import sys
from contextlib import contextmanager

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


def test_values_of_no_size(tmp_path, generation):
    none = {"A": [], "B": np.zeros((2, 0)), "C": np.zeros((0, 0), np.uint8), "D": {}, "E": ([], [])}
    with ravo.Writer(tmp_path, generation=generation) as writer:
        writer.add(1, START, none)
    run = ravo.open(file=writer.files)
    assert {
        name: channel.numpy()[0] == {} if name == "D" else channel.numpy().size for name, channel in run.items()
    } == {"A": 0, "B": 0, "C": 0, "D": True, "E": 0}


def test_names_and_values(tmp_path, generation):
    channel = written(tmp_path, generation, "A/B", [{"A": 1, "B": 2}, {"A": 3, "B": 4.5}])
    assert channel.numpy().tolist() == [{"A": 1, "B": 2}, {"A": 3, "B": 4.5}]
    assert channel["B"].numpy().tolist() == [2, 4.5]


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
    assert [event["MAGNET"].value for event in run.events()] == [20, 20, 20, 23, 23, 23]


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
        (np.ma.masked_less([1.0, 2.0], 2), "some of it is masked"),
        (([1.0], [[2.0]]), "of numbers|dimensions|inhomogeneous"),
        ("a\0b", "the text holds a zero byte"),
        (b"text", "not of |S4"),
        (np.datetime64("2025"), "not of datetime64"),
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


@pytest.mark.parametrize(
    ("declaration", "why"),
    [
        ({"kind": "camera"}, 'no kind "camera"; there are spectrum, image'),
        ({"kind": "image", "members": 2}, "Only a spectrum has members"),
        ({"kind": "image", "dtype": "RAVO_BLOCK_GENERIC_SPECT"}, "is a type of spectrum channels, not of image"),
        ({"kind": "text", "increment": 2}, "only a spectrum has start, increment and summary"),
        ({"dtype": "RAVO_BLOCK_BPM_2010", "members": 2}, "has 3 members, not 2"),
        ({"dtype": "RAVO_BLOCK_BPM_201"}, "did you mean RAVO_BLOCK_BPM_2010"),
        ({"dtype": "RAVO_BLOCK_ENERGY"}, 'no data type "RAVO_BLOCK_ENERGY" in this generation'),
        ({"members": 0}, "1 to 65535 members"),
        ({"summary": "some"}, 'summary is "some"; it is none, means or all'),
        ({"unit": "x" * 16}, "the units is longer than 15 bytes"),
        ({"compression": "zip"}, 'compression is "zip"; it is none, zlib or lzo'),
    ],
)
def test_declarations_that_make_no_sense_are_refused(tmp_path, declaration, why):
    with ravo.Writer(tmp_path) as writer, pytest.raises(ValueError, match=why):
        writer.channel("A", **declaration)


@pytest.mark.parametrize(("generation", "longest"), [("current", 255), ("older", 31)])
def test_names_have_the_length_of_their_generation(tmp_path, generation, longest):
    with ravo.Writer(tmp_path, generation=generation) as writer:
        with pytest.raises(ValueError, match=f"use 1 to {longest}|longer than {longest} bytes"):
            writer.channel("x" * (longest + 1))
        with pytest.raises(ValueError, match="contains ':'"):
            writer.channel("A:B")
        writer.add(1, START, {"x" * longest: 1.0})
    assert list(ravo.open(file=writer.files)) == ["x" * longest]


def test_the_older_generation_has_no_statistics_and_no_groups_of_named_types(tmp_path):
    with ravo.Writer(tmp_path, generation="older") as writer:
        with pytest.raises(ValueError, match='summary is "all"; it is none or means'):
            writer.channel("A", summary="all")
        writer.channel("A", dtype="RAVO_BLOCK_BPM")
        with pytest.raises(ValueError, match="one group"):
            writer.add(1, START, {"A": np.ones((3, 2, 4))})


def test_events_that_make_no_sense_are_refused(tmp_path):
    with ravo.Writer(tmp_path) as writer:
        with pytest.raises(ValueError, match="4294967295 is not from 0 to 4294967294"):
            writer.add(2**32 - 1, START, {"A": 1.0})
        with pytest.raises(ValueError, match="has no value; leave it out"):
            writer.add(1, START, {})
        with pytest.raises(ValueError, match="1970"):
            writer.add(1, -1, {"A": 1.0})
        with pytest.raises(ValueError, match="yesterdy"):
            writer.add(1, "yesterdy", {"A": 1.0})
        with pytest.raises(TypeError):
            writer.add(1.5, START, {"A": 1.0})
        writer.add(np.int64(1), START, {"B": 1.0})
    assert list(ravo.open(file=writer.files)) == ["B"]


@pytest.mark.parametrize(
    ("settings", "why"),
    [
        ({"generation": "newest"}, "it is current or older"),
        ({"run": -1}, "run"),
        ({"experiment": "a/b"}, "experiment"),
        ({"compression": "zip"}, "it is none, zlib or lzo"),
        ({"zlib_level": 10}, "zlib level 10"),
        ({"run": 2**40}, "run"),
        ({"max_events": -1}, "max_events"),
    ],
)
def test_settings_out_of_range_are_refused(tmp_path, settings, why):
    with pytest.raises(ValueError, match=why), ravo.Writer(tmp_path, **settings) as writer:
        writer.add(1, START, {"A": 1.0})
    assert list(tmp_path.iterdir()) == []


def test_a_channel_keeps_its_members(tmp_path, generation):
    with ravo.Writer(tmp_path, generation=generation) as writer:
        writer.add(1, START, {"A": np.ones((9, 2))})
        with pytest.raises(ValueError, match="the channel has 9 members, not 10"):
            writer.add(2, START, {"A": np.ones((10, 2))})


@pytest.mark.parametrize("compression", ["none", "zlib", "lzo"])
def test_all_kinds_at_once_in_several_files(tmp_path, generation, compression):
    rng = np.random.default_rng(5)
    written = []
    with ravo.Writer(tmp_path, generation=generation, compression=compression, max_events=7) as writer:
        writer.channel("SLOW", "slow", unit="A")
        writer.channel("ENV", "environment", unit="C")
        for i in range(20):
            written.append(
                {
                    "SCALAR": np.float32(rng.normal()),
                    "SPECTRUM": rng.normal(size=(3, 40)).astype(np.float32),
                    "FLAT": np.zeros((1, 100), np.float32),
                    "IMAGE": rng.integers(0, 2**16, (6, 5), np.uint16),
                    "PROFILE": (np.arange(i + 1.0), np.arange(3.0)),
                    "TEXT": "text " * i,
                    "PAIRS": {f"N{k}": float(k * i) for k in range(4)},
                }
                | ({"SLOW": float(i)} if i % 3 == 0 else {})
                | ({"ENV": float(-i)} if i % 4 == 0 else {})
            )
            writer.add(100 + i, START + 0.1 * i, written[-1])
    assert len(writer.files) > 2
    assert not ravo.verify(writer.files).is_damaged
    run = ravo.open(file=writer.files)
    assert sorted(run) == sorted(written[0])
    for name, channel in run.items():
        values = channel.masked()
        expected = [event[name] for event in written if name in event]
        assert not values.mask.any()
        for read, given in zip(values, expected, strict=True):
            if isinstance(given, (str, dict)):
                assert read == given
            else:
                flat = np.concatenate(given) if isinstance(given, tuple) else np.ravel(given)
                np.testing.assert_array_equal(np.ravel(read), flat)
        assert channel.event.tolist() == [100 + i for i, event in enumerate(written) if name in event]
    assert run.ledger.is_balanced
    assert [event.number for event in run.events()] == list(range(100, 120))


def test_pixels_in_foreign_byte_order(tmp_path, generation):
    values = [np.array([[1, 2, 60000]], ">u2"), np.array([[3, 4, 5]], "<u2")]
    channel = written(tmp_path, generation, "A/B", values)
    assert channel.kind == ravo.Kind.IMAGE
    np.testing.assert_array_equal(channel.numpy(), np.stack(values))


def test_files_of_a_run_are_cut_by_events(tmp_path, generation):
    with ravo.Writer(tmp_path, generation=generation, max_events=2, first_file=5) as writer:
        for i in range(5):
            writer.add(i, START + i, {"A": float(i)})
        assert len(writer.files) == 2
    assert [path.name.split("_")[3] for path in writer.files] == ["file5", "file6", "file7"]
    assert ravo.open(file=writer.files)["A"].numpy().tolist() == [0, 1, 2, 3, 4]


def test_a_file_is_never_replaced(tmp_path):
    with ravo.Writer(tmp_path) as writer:
        writer.add(1, START, {"A": 1.0})
    before = writer.files[0].read_bytes()
    with pytest.raises(ravo.WriteError, match="already; move it away"), ravo.Writer(tmp_path) as again:
        again.add(1, START, {"A": 2.0})
    assert writer.files[0].read_bytes() == before
    assert list(tmp_path.iterdir()) == list(writer.files)


@contextmanager
def largest_file(size):
    """No file may grow beyond a size, as if the disk were full."""
    before = resource.getrlimit(resource.RLIMIT_FSIZE)
    resource.setrlimit(resource.RLIMIT_FSIZE, (size, before[1]))
    try:
        yield
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, before)


def test_a_full_disk_is_an_os_error_and_closing_may_be_tried_again(tmp_path, generation):
    writer = ravo.Writer(tmp_path, generation=generation, compression="none")
    for i in range(10):
        writer.add(i, START + i, {"A": np.full(30_000, i, np.float32)})
    with largest_file(1 << 20), pytest.raises(ravo.WriteError, match=r"cannot write .*file1.*: File too large"):
        writer.close()
    assert list(tmp_path.iterdir()) == []
    assert writer.files == ()
    files = writer.close()
    assert list(tmp_path.iterdir()) == list(files)
    assert ravo.verify(writer.files).is_good
    assert ravo.open(file=writer.files)["A"].numpy()[:, 0].tolist() == list(range(10))


def test_after_a_full_disk_in_an_event_no_more_are_taken(tmp_path):
    def fill():
        with ravo.Writer(tmp_path, compression="none", max_events=2) as writer:
            for i in range(4):
                writer.add(i, START + i, {"A": np.full(30_000, i, np.float32), "B": 1.0})
            with largest_file(1 << 16), pytest.raises(ravo.WriteError, match="File too large"):
                writer.add(4, START + 4, {"A": [4.0], "B": 1.0})
            with pytest.raises(ravo.WriteError, match="takes no more; what it has completed stays"):
                writer.add(5, START + 5, {"A": [5.0]})

    with pytest.raises(ravo.WriteError, match="takes no more"):
        fill()
    assert [path.name.split("_")[3] for path in tmp_path.iterdir()] == ["file1"]
    assert ravo.verify(tmp_path).is_good


def test_a_killed_process_leaves_whole_files_alone(tmp_path):
    program = """
import sys, ravo
writer = ravo.Writer(sys.argv[1], max_events=10)
for i in range(25):
    writer.add(i, 1740816000 + i, {"A": [float(i)] * 1000})
print("ready", flush=True)
sys.stdin.read()
"""
    command = [sys.executable, "-c", program, str(tmp_path)]
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as process:
        assert process.stdout.readline() == "ready\n"
        process.send_signal(signal.SIGKILL)
        process.wait()
    assert sorted(path.name.split("_")[3] for path in tmp_path.iterdir()) == ["file1", "file2"]
    assert ravo.verify(tmp_path).is_good


def test_a_writer_that_is_forgotten_leaves_nothing(tmp_path):
    writer = ravo.Writer(tmp_path)
    writer.add(1, START, {"A": 1.0})
    with pytest.warns(ResourceWarning, match="was not closed: the file that is open is dropped"):
        del writer
    assert list(tmp_path.iterdir()) == []


def test_a_run_in_the_catalogue(tmp_path, monkeypatch):
    monkeypatch.setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1")  # files of this moment are taken too
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
