"""The verification: what is wrong with files is a finding."""

import json
from pathlib import Path

import pytest
import ravo


@pytest.fixture(scope="module")
def good(tmp_path_factory):
    return ravo.simulate(tmp_path_factory.mktemp("good"), events=20, files=3)


def test_good_files_give_no_finding(good):
    report = ravo.verify(good.files)
    assert report.is_good
    assert not report.is_damaged
    assert [file.verdict for file in report.files] == ["good"] * 3
    assert sum(file.blocks for file in report.files) == good.blocks
    assert "LINAC/BPM/001" in report.channels_of_all_runs
    assert str(report) == "3 files: 3 good"


def test_a_folder_a_file_and_a_selection_mean_the_same_files(good):
    folder = good.files[0].parent
    expected = [file.path for file in ravo.verify(folder).files]
    assert expected == list(good.files)
    assert [file.path for file in ravo.verify(file=folder).files] == expected
    assert [file.path for file in ravo.verify(good.files[1]).files] == [good.files[1]]


@pytest.mark.parametrize("generation", ["current", "older"])
@pytest.mark.parametrize("kind", sorted(ravo.fault_kinds()))
def test_every_fault_is_found_as_the_simulator_expects(tmp_path, generation, kind):
    try:
        made = ravo.simulate(tmp_path, files=3, events=30, generation=generation, faults=[(kind, 2)])
    except ravo.SimulationError as error:
        pytest.skip(str(error))
    report = ravo.verify(tmp_path, expect=["LINAC/BPM/001"])
    expected = [
        (
            path.name.removesuffix(".expected.json"),
            finding["kind"],
            finding["channel"],
            finding["event"],
            finding["count"],
        )
        for path in tmp_path.glob("*.expected.json")
        for finding in map(json.loads, path.read_text().splitlines())
    ]
    found = [
        (one.file.name if one.file else "all", one.kind, one.channel, one.event, one.count) for one in report.findings
    ]
    assert sorted(found, key=str) == sorted(expected, key=str)
    assert len(made.files) == (2 if kind == "missing-file" else 3)


def test_a_finding_is_one_line_as_the_tool_prints_it(tmp_path):
    made = ravo.simulate(tmp_path, events=10, faults=["truncated@2"])
    (finding,) = ravo.verify(made.files).findings
    assert finding.file == made.files[1]
    assert (finding.kind, finding.severity) == ("file.reference", "damaged")
    assert str(finding).startswith(f"{made.files[1]}: there is no readable reference table")
    assert str(finding).endswith("[file.reference]")


def test_a_file_that_is_not_there_is_a_finding():
    report = ravo.verify([Path("/nowhere/a.raw")])
    assert [(one.kind, one.file) for one in report.findings] == [("file.unreadable", Path("/nowhere/a.raw"))]
    assert report.files[0].verdict == "unread"


def test_expected_channels_without_data_are_findings(good):
    report = ravo.verify(good.files, expect=["NO/SUCH", "LINAC/BPM/001"])
    assert [(one.kind, one.channel, one.severity) for one in report.findings] == [("channel.absent", "NO/SUCH", "odd")]
    assert not report.is_damaged


def test_quick_finds_what_is_in_the_heads(tmp_path):
    ravo.simulate(tmp_path, events=10, faults=["flipped-bit@2"])
    assert ravo.verify(tmp_path).is_damaged
    assert ravo.verify(tmp_path, quick=True).is_good


def test_findings_are_a_dataframe(tmp_path):
    pytest.importorskip("pandas")
    made = ravo.simulate(tmp_path, events=10, faults=["flipped-bit@2"])
    table = ravo.verify(tmp_path).dataframe()
    assert table["file"].tolist() == [str(made.files[1])]
    assert table["event"].dtype == "Int64"
    assert ravo.verify(made.files[0]).dataframe().empty


def test_progress_and_an_interrupt(good):
    seen = []
    ravo.verify(good.files, progress=lambda done, total: seen.append((done, total)))
    size = sum(path.stat().st_size for path in good.files)
    assert seen[-1] == (size, size)

    def interrupt(_done, _total):
        raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        ravo.verify(good.files * 50, progress=interrupt)


def test_nothing_is_printed(tmp_path, capfd):
    ravo.simulate(tmp_path, events=10, faults=["truncated@1", "flipped-bit@2"])
    ravo.verify(tmp_path)
    assert capfd.readouterr() == ("", "")
