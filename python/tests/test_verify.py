"""The verification: what is wrong with files is a finding."""

import json
import re
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


def as_json_has_it(name):
    """Return a name with U+FFFD for each byte that is no UTF-8, which findings show as \\xNN."""
    return name and re.sub(r"\\x[0-9a-f]{2}", "\N{REPLACEMENT CHARACTER}", name)


@pytest.mark.slow
@pytest.mark.parametrize(
    ("kind", "generation"),
    [(kind, ("current", "older")[i % 2]) for i, kind in enumerate(sorted(ravo.fault_kinds()))],
)
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
        (one.file.name if one.file else "all", one.kind, as_json_has_it(one.channel), one.event, one.count)
        for one in report.findings
    ]
    assert sorted(found, key=str) == sorted(expected, key=str)
    assert len(made.files) == (2 if kind == "missing-file" else 3)


def test_runs_of_a_catalogue_and_what_it_lacks(tmp_path, monkeypatch):
    monkeypatch.setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1")  # files of this moment are taken too
    catalog = tmp_path / "catalog"
    with ravo.Writer(tmp_path / "raw", run=7, max_events=1, catalog=catalog) as writer:
        for i in range(3):
            writer.add(i, 1740816000 + i, {"A": float(i)})
    report = ravo.verify(run=7, catalog=catalog)
    assert [file.path for file in report.files] == list(writer.files)
    assert report.is_good
    writer.files[1].unlink()
    kinds = {finding.kind for finding in ravo.verify("linac/main run=7", catalog=catalog).findings}
    assert "file.unreadable" in kinds
    with pytest.raises(ravo.VerificationError, match="no run 8"):
        ravo.verify(run=8, catalog=catalog)
    # Without the catalogue, by the names of the files in a folder.
    by_name = ravo.verify(run=7, data=tmp_path / "raw")
    assert [file.path for file in by_name.files] == [writer.files[0], writer.files[2]]
    assert [finding.kind for finding in by_name.findings] == ["run.file_missing"]


def test_arguments_that_make_no_sense_are_refused(good):
    with pytest.raises(ValueError, match="nothing to check"):
        ravo.verify([])
    with pytest.raises(ValueError, match="threads is 65"):
        ravo.verify(good.files, threads=65)
    with pytest.raises(TypeError, match="A selection has no colour"):
        ravo.verify(good.files[0], colour="red")


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
    assert ravo.verify(good.files, expect="LINAC/BPM/001").is_good
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
