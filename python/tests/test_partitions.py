"""Parts of a run: each opens alone, from any folder, and all together are the whole."""

from __future__ import annotations

import os
import pickle
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
import ravo

CHANNELS = ["LINAC/BPM/00[12]", "LINAC/RF/001", "LINAC/MAGNET/001", "LINAC/STATUS/001", "LINAC/MESSAGE/001"]


@pytest.fixture(scope="module")
def three_files(tool: str, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """Three files, of which blocks of the second and third are damaged."""
    made = tmp_path_factory.mktemp("three")
    faults = ["--fault", "flipped-bit@2", "--fault", "flipped-bit-lzo@3"]
    subprocess.run([tool, "simulate", str(made), "--files", "3", *faults], check=True, capture_output=True)
    return made


def opened(folder: Path, **more: object) -> ravo.Run:
    return ravo.open(folder, chan=CHANNELS, slow="hold", **more)  # type: ignore[arg-type]


def test_parts_have_the_rows_ledgers_and_digests_of_the_whole(three_files: Path) -> None:
    whole, reading = opened(three_files), opened(three_files)
    parts = reading.partitions(count=3)
    assert len(parts) == 3
    events: list[int] = []
    ledger = ravo.Ledger()
    digests: dict[str, ravo.Digest] = {}
    values = {label: np.zeros((0, *whole[label].shape[1:])) for label in ("LINAC/BPM/001", "LINAC/RF/001")}
    for part in parts:
        run = ravo.open(part.text)
        events += run.event.tolist()
        for label, digest in ravo.digests_from_json(ravo.digests_to_json(run.digest())).items():
            digests[label] = digests[label] + digest if label in digests else digest
        for label in values:
            values[label] = np.concatenate([values[label], run[label].numpy()])
        alone = ravo.open(part)
        for label in alone:
            alone[label].read()
        ledger = ledger + ravo.Ledger.from_json(alone.ledger.to_json())
    assert events == whole.event.tolist()
    assert digests == whole.digest()
    for label, value in values.items():
        np.testing.assert_array_equal(value, opened(three_files)[label].numpy())
    of_whole = opened(three_files)
    for label in of_whole:
        of_whole[label].read()
    assert ledger.missing > 0
    assert (ledger.expected, ledger.delivered) == (of_whole.ledger.expected, of_whole.ledger.delivered)
    for cause in ravo.MissingCause:
        sums = [sum(one.missing_by(cause) for one in each.channels) for each in (ledger, of_whole.ledger)]
        assert sums[0] == sums[1]
    assert ledger.is_balanced


def test_a_part_says_what_it_takes(three_files: Path) -> None:
    run = opened(three_files)
    plan = run.plan()
    parts = run.partitions("1 B")
    assert [len(part.files) for part in parts] == [1, 1, 1]
    assert sum(part.events for part in parts) == plan.events
    assert sum(part.stored_bytes for part in parts) == plan.stored_bytes
    for part in parts:
        assert part.first_event is not None
        inside = run.event[(run.event >= part.first_event) & (run.event <= part.last_event)]
        assert len(inside) == part.events
        assert part.first_time_us == int(run.time[run.event == part.first_event][0].astype(np.int64))
        assert part.stored_bytes > 0
        assert 0 < part.decoded_bytes == sum(channel.decoded_bytes for channel in part.channels)
        assert 0 < part.peak_bytes <= 1 << 30
        assert [channel.channel for channel in part.channels] == run.channels
        assert str(part) == part.text
        assert f"{part.events} events" in repr(part)
    assert len(run.partitions("1 GB")) == 1


@pytest.mark.parametrize("arguments", [{}, {"size": "1 MB", "count": 2}, {"count": 0}, {"size": 0}])
def test_partitions_need_a_size_or_a_count(folder: Path, arguments: dict[str, object]) -> None:
    with pytest.raises(ravo.SelectionError):
        ravo.open(folder).partitions(**arguments)  # type: ignore[arg-type]


def test_the_text_of_a_part_opens_in_another_process_and_folder(
    three_files: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.chdir(three_files.parent)
    run = ravo.open(Path(three_files.name), chan=CHANNELS)
    part = run.partitions(count=2)[1]
    assert all(Path(file).is_absolute() for file in part.files)
    program = (
        "import ravo, sys; run = ravo.open(sys.argv[1]); print(run.event[0], len(run.event), *run.digest().values())"
    )
    answer = subprocess.run(
        [sys.executable, "-c", program, part.text],
        cwd=tmp_path,
        env=os.environ | {"PYTHONPATH": str(Path(ravo.__file__).parent.parent)},
        capture_output=True,
        text=True,
        check=True,
    ).stdout.split()
    expected = [digest.text for digest in ravo.open(part).digest().values()]
    assert answer == [str(part.first_event), str(part.events), *expected]


def test_long_lists_go_into_a_manifest(three_files: Path, tmp_path: Path) -> None:
    part = opened(three_files).partitions(count=1)[0]
    short = part.with_lists_in(str(tmp_path / "lists"))
    assert "manifest=" in short.text
    assert str(three_files) not in short.text
    assert short.files == part.files
    assert ravo.open(short.text).digest() == ravo.open(part.text).digest()
    (tmp_path / "lists").write_text("file=other.raw")
    with pytest.raises(ravo.SelectionError, match="digest"):
        ravo.open(short.text)


def test_ledgers_digests_plans_and_parts_are_pickled(three_files: Path) -> None:
    run = opened(three_files)
    for label in run:
        run[label].read()
    ledger = pickle.loads(pickle.dumps(run.ledger))
    assert ledger.to_json() == run.ledger.to_json()
    digests = run.digest()
    assert pickle.loads(pickle.dumps(digests)) == digests
    values = run.value_digests()
    assert pickle.loads(pickle.dumps(values)) == values
    plan = run.plan()
    again = pickle.loads(pickle.dumps(plan))
    assert again.to_text() == plan.to_text()
    assert again.seconds == plan.seconds
    for part in run.partitions(count=3):
        copy = pickle.loads(pickle.dumps(part))
        assert (copy.text, copy.files, copy.events) == (part.text, part.files, part.events)
        assert (copy.first_event, copy.last_time_us) == (part.first_event, part.last_time_us)
        assert [(one.channel, one.values, one.stored_bytes) for one in copy.channels] == [
            (one.channel, one.values, one.stored_bytes) for one in part.channels
        ]


def test_what_is_no_json_of_digests_or_ledgers_is_refused() -> None:
    with pytest.raises(ravo.JsonError):
        ravo.digests_from_json("[1]")
    with pytest.raises(ravo.JsonError):
        ravo.Ledger.from_json("{}")
    with pytest.raises(ValueError, match="hexadecimal"):
        ravo.Digest.from_text("zz", 1)
