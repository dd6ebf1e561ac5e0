"""The simulator: files with known content, the same for the same settings."""

import hashlib
import json
import signal
import threading
import zlib
from pathlib import Path

import numpy as np
import pytest
import ravo


def digests(files):
    return [hashlib.sha256(path.read_bytes()).hexdigest() for path in files]


@pytest.mark.parametrize("generation", ["current", "older"])
def test_the_same_seed_gives_the_same_bytes(tmp_path, generation):
    one = ravo.simulate(tmp_path / "a", events=10, seed=3, generation=generation)
    same = ravo.simulate(tmp_path / "b", events=10, seed=3, generation=generation)
    other = ravo.simulate(tmp_path / "c", events=10, seed=4, generation=generation)
    assert digests(one.files) == digests(same.files)
    assert digests(one.files) != digests(other.files)
    assert [path.name for path in one.files] == [path.name for path in same.files]


@pytest.mark.parametrize("generation", ["current", "older"])
def test_the_answer_key_is_what_is_read(tmp_path, generation):
    made = ravo.simulate(
        tmp_path / "files", events=20, channels={"bpms": 1}, generation=generation, answer_key=tmp_path / "key.jsonl"
    )
    key = [json.loads(line) for line in made.answer_key.read_text().splitlines()]
    assert len(key) == made.blocks
    of_bpm = [line for line in key if line["channel"] == "LINAC/BPM/001"]
    run = ravo.open(file=made.files)
    values = run["LINAC/BPM/001"].numpy()
    assert len(values) == len(of_bpm) == 40
    for row, line in zip(values, of_bpm, strict=True):
        for member, expected in zip(row, line["members"], strict=True):
            assert member.size == expected["count"]
            assert member.astype(np.float64).mean() == pytest.approx(expected["mean"], rel=1e-12)
            assert (member.min(), member.max()) == (np.float32(expected["min"]), np.float32(expected["max"]))
    assert {line["crc32"] for line in of_bpm} != {zlib.crc32(b"")}


def test_runs_files_and_names(tmp_path):
    made = ravo.simulate(tmp_path, run=41, runs=2, files=3, events=5, experiment="ring", stream="test")
    assert [path.name.rsplit("_", 1)[0] for path in made.files] == [
        f"ring_test_run{run}_file{file}" for run in (41, 42) for file in (1, 2, 3)
    ]


def test_channels_in_all_or_by_kind(tmp_path):
    assert ravo.simulate(tmp_path / "a", events=2, channels=30).channels == 30
    assert ravo.simulate(tmp_path / "b", events=2, channels={"cameras": 2}).channels == 2 + 6
    with pytest.raises(ValueError, match="at least 20"):
        ravo.simulate(tmp_path / "c", channels=19)
    with pytest.raises(ValueError, match="no channels of the kind lasers"):
        ravo.simulate(tmp_path / "c", channels={"lasers": 1})


def test_a_setting_out_of_range_is_a_value_error(tmp_path):
    with pytest.raises(ValueError, match="files is 0; it must be from 1 to 100000"):
        ravo.simulate(tmp_path, files=0)
    with pytest.raises(ValueError, match="files is 4294967296, which is of the wrong type or out of range"):
        ravo.simulate(tmp_path, files=2**32)
    with pytest.raises(ValueError, match="bpms is 'two'"):
        ravo.simulate(tmp_path, channels={"bpms": "two"})
    with pytest.raises(ValueError, match="generation"):
        ravo.simulate(tmp_path, generation="newest")
    with pytest.raises(ValueError, match="there is no fault 'no-such'"):
        ravo.simulate(tmp_path, faults=["no-such"])
    assert list(tmp_path.iterdir()) == []


def test_a_folder_that_cannot_be_made_is_an_os_error(tmp_path):
    (tmp_path / "file").write_text("")
    with pytest.raises(ravo.SimulationError, match="file") as caught:
        ravo.simulate(tmp_path / "file" / "below")
    assert isinstance(caught.value, OSError)
    with pytest.raises(ravo.SimulationError, match="/proc/nowhere: No such file"):
        ravo.simulate("/proc/nowhere")


def test_progress_counts_events_and_what_it_raises_ends_the_simulation(tmp_path):
    seen = []
    ravo.simulate(tmp_path / "a", events=50, progress=lambda done, total: seen.append((done, total)))
    assert seen[-1] == (102, 102)

    def enough(_done, _total):
        raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        ravo.simulate(tmp_path / "b", files=1000, events=1000, progress=enough)
    assert all(not path.name.startswith(".") for path in Path(tmp_path / "b").iterdir())


def test_ctrl_c_ends_the_simulation(tmp_path):
    begun = threading.Event()

    def interrupt():
        begun.wait()
        signal.pthread_kill(threading.main_thread().ident, signal.SIGINT)

    sender = threading.Thread(target=interrupt, daemon=True)
    sender.start()
    with pytest.raises(KeyboardInterrupt):
        ravo.simulate(tmp_path, files=1000, events=1000, progress=lambda _done, _total: begun.set())
    sender.join()
    assert all(path.suffix == ".raw" for path in tmp_path.iterdir())


def test_a_bar_shows_progress(tmp_path, capfd):
    ravo.simulate(tmp_path, events=10, progress=True)
    printed = capfd.readouterr()
    assert printed.out == ""
    assert "simulating" in printed.err
    assert "100" in printed.err


def test_faults_by_name_and_by_pair(tmp_path):
    assert ravo.fault_kinds().keys() >= {"flipped-bit", "truncated", "missing-file"}
    one = ravo.simulate(tmp_path / "a", events=10, faults=["flipped-bit@2"])
    same = ravo.simulate(tmp_path / "b", events=10, faults=[("flipped-bit", 2)])
    assert digests(one.files) == digests(same.files)
    with pytest.raises(ValueError, match='After the "@" of "truncated@last" comes the number of a file'):
        ravo.simulate(tmp_path / "c", faults=["truncated@last"])
