"""Parts of channels against slices of the whole by NumPy."""

from __future__ import annotations

from pathlib import Path
from typing import Any

import numpy as np
import pytest
import ravo

hypothesis = pytest.importorskip("hypothesis")
from hypothesis import given, settings  # noqa: E402
from hypothesis import strategies as st  # noqa: E402

LABELS = ["LINAC/BPM/001", "LINAC/SPECTRUM/001", "LINAC/CAMERA/001", "LINAC/ENERGY/001", "LINAC/PROFILE/001"]


@pytest.fixture(scope="module")
def channels(folder: Path) -> dict[str, tuple[ravo.Channel, Any]]:
    run = ravo.open(folder, chan=LABELS)
    return {label: (run[label], run[label].numpy()) for label in LABELS}


def keys_of(size: int) -> st.SearchStrategy[Any]:
    return st.one_of(st.integers(-size, size - 1), st.slices(size))


@st.composite
def keys(draw: st.DrawFn, shape: tuple[int, ...]) -> tuple[Any, ...]:
    """Keys of NumPy: of rows an integer, slice or list; of other dimensions an integer or slice."""
    rows = st.one_of(
        keys_of(shape[0]),
        st.lists(st.integers(-shape[0], shape[0] - 1), max_size=6),
        st.lists(st.booleans(), min_size=shape[0], max_size=shape[0]).map(np.array),
    )
    others = [keys_of(size) for size in shape[1 : draw(st.integers(1, len(shape)))]]
    return (draw(rows), *(draw(one) for one in others))


def outer(array: Any, key: tuple[Any, ...]) -> Any:
    """Take a key dimension by dimension, from the last one on, so that lists do not join."""
    for axis in reversed(range(len(key))):
        one = np.asarray(key[axis], dtype=np.intp if len(key[axis]) == 0 else None) if is_list(key[axis]) else key[axis]
        array = array[(slice(None),) * axis + (one,)]
    return array


def is_list(key: Any) -> bool:
    return isinstance(key, (list, np.ndarray))


@pytest.mark.parametrize("label", LABELS)
@settings(deadline=None, max_examples=40)
@given(data=st.data())
def test_a_part_equals_the_slice_of_the_whole(
    label: str, channels: dict[str, tuple[ravo.Channel, Any]], data: st.DataObject
) -> None:
    channel, whole = channels[label]
    key = data.draw(keys(whole.shape))
    expected = outer(whole, key)
    part = channel[key]
    np.testing.assert_array_equal(part.numpy(), expected)
    assert part.shape == expected.shape
    assert np.shape(part.read().status) == np.shape(outer(np.zeros(len(whole)), key[:1]))


@settings(deadline=None, max_examples=40)
@given(data=st.data())
def test_a_part_of_a_part_equals_the_slice_of_the_slice(
    channels: dict[str, tuple[ravo.Channel, Any]], data: st.DataObject
) -> None:
    channel, whole = channels["LINAC/BPM/001"]
    first, second = data.draw(st.slices(200)), data.draw(st.slices(50))
    samples, again = data.draw(st.slices(64)), data.draw(st.slices(64))
    part = channel[first, ..., samples][second, :, again]
    np.testing.assert_array_equal(part.numpy(), whole[first, ..., samples][second, :, again])


@settings(deadline=None, max_examples=20)
@given(rows=st.slices(202))
def test_aligned_rows_are_those_of_batches(channels: dict[str, tuple[ravo.Channel, Any]], rows: slice) -> None:
    channel, _ = channels["LINAC/BPM/001"]
    batches = list(channel.run.batches("100 kB", ["LINAC/BPM/001"]))
    status = np.concatenate([batch["LINAC/BPM/001"].status for batch in batches])
    values = np.concatenate([batch["LINAC/BPM/001"].numpy() for batch in batches])
    part = channel.aligned()[rows].read()
    np.testing.assert_array_equal(part.numpy(), values[rows])
    np.testing.assert_array_equal(part.status, status[rows])
    np.testing.assert_array_equal(part.event, channel.run.event[rows])


@pytest.mark.parametrize("key", [np.s_[200], np.s_[0, 3], np.s_[0, 0, 0, 0], np.s_[:, [0, 1]], np.s_[[0.5]]])
def test_what_is_not_there_is_refused(channels: dict[str, tuple[ravo.Channel, Any]], key: Any) -> None:
    with pytest.raises(LookupError):
        channels["LINAC/BPM/001"][0][key]
