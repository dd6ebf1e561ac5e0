"""Raw files of both generations, written from arrays."""

from __future__ import annotations

import operator
import os
import warnings
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from types import TracebackType
from typing import TYPE_CHECKING, Any, Literal, Self, TypeAlias, get_args

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ravo import _core
from ravo._core import join_or, near_names
from ravo._errors import WriteError
from ravo._settings import assign
from ravo._simulate import GenerationName, generation_of
from ravo._times import TimeLike, microseconds

if TYPE_CHECKING:
    from pathlib import Path

WriterKind: TypeAlias = Literal["spectrum", "image", "profile", "slow", "environment", "text", "name_value"]
_KINDS: tuple[WriterKind, ...] = get_args(WriterKind)
WrittenValue: TypeAlias = "ArrayLike | str | Mapping[str, float] | tuple[ArrayLike, ArrayLike]"

_GENERIC = "RAVO_BLOCK_GENERIC_SPECT"
_TYPES = {
    "image": "RAVO_BLOCK_IMAGE_EXT",
    "profile": "RAVO_BLOCK_IMG_ROI1",
    "environment": "RAVO_ENV_BLOCK",
    "text": "RAVO_BLOCK_NAME_VALUE_STRING",
    "name_value": "RAVO_BLOCK_NAME_VALUE",
}
_SUMMARIES = ("none", "means", "all")
_SECOND = 1_000_000  # microseconds
_MOST_MEMBERS = 65535
_LARGEST_NUMBER = 0xFFFFFFFE  # the number after it means "not decoded"


@dataclass
class _Declared:
    """A channel of the files."""

    kind: WriterKind
    dtype: str
    members: int = 1
    start: float = 0.0
    increment: float = 1.0
    groups_increment: float = 0.0
    summary: str = "none"
    compression: str | None = None
    env_index: int = -1
    index: int = -1  # of the writer, once it has the channel


class Writer:
    """Writes raw files from arrays: a context manager, from which whole files come or none.

    Each event is a number, a time, and a value for some of the channels. What a value is says the kind of its
    channel, and which data type the file gets:

    ===============  ==================================================================  =====================
    kind             value                                                               read back as
    ===============  ==================================================================  =====================
    ``spectrum``     number, or array (samples), (members, samples) or                   ``float32``
                     (members, groups, samples)
    ``image``        array (height, width) of ``uint8``, ``uint16`` or ``uint32``        the same integers
    ``profile``      pair of arrays: along x and along y                                 ``float32``
    ``slow``         number: a value that is recorded when it changes                    ``float32``
    ``environment``  number: a reading                                                   ``float32``
    ``text``         text                                                                text
    ``name_value``   mapping of names (at most 79 bytes) to numbers                      ``float32`` by name
    ===============  ==================================================================  =====================

    The kind of a channel that was not declared by `channel` follows from its first value, and all channels must be
    known when the first event is added. Slow values and readings of the environment that an event has become events
    of their own in the file, with the same number and time.

    Files are named <experiment>_<stream>_run<N>_file<M>_<YYYYMMDDThhmmssZ>.raw, with the UTC time of the first
    event. Each appears under its name when it is complete and on disk. When the ``with`` block raises, the file
    that is open is dropped, and those that were full before it stay.

    Parameters
    ----------
    folder
        Folder for the files; it is made if it does not exist.
    generation
        Of the raw format.
    experiment, stream, run, first_file
        For the names of the files.
    compression, zlib_level
        How values are stored: "zlib", "lzo" or "none". A channel may have its own.
    max_events, max_file_bytes
        A file ends before it exceeds these; 0: no limit other than 4 GiB.
    catalog
        Directory of a run catalogue, in which the files are entered when the writer is closed.
    server
        Name of the front end that the data are from.

    Raises
    ------
    ValueError
        For a value that does not fit its channel, or the format; nothing of its event is written.
    WriteError
        If the system refuses to write. After that `close` may be tried again, but no more events are taken.

    Examples
    --------
    >>> import tempfile
    >>> import numpy as np
    >>> import ravo
    >>> with tempfile.TemporaryDirectory() as folder:
    ...     with ravo.Writer(folder, run=7) as writer:
    ...         writer.channel("TEST/BPM", unit="mm", axis="time", axis_unit="us")
    ...         for i in range(3):
    ...             writer.add(100 + i, 1740816000.0 + i, {"TEST/BPM": np.arange(4) + i, "TEST/STATE": "beam on"})
    ...     run = ravo.open(file=writer.files)
    ...     run["TEST/BPM"].numpy()
    array([[0., 1., 2., 3.],
           [1., 2., 3., 4.],
           [2., 3., 4., 5.]], dtype=float32)
    """

    def __init__(
        self,
        folder: str | os.PathLike[str],
        *,
        generation: GenerationName = "current",
        experiment: str = "linac",
        stream: str = "main",
        run: int = 1,
        first_file: int = 1,
        compression: Literal["none", "zlib", "lzo"] = "zlib",
        zlib_level: int = 6,
        max_events: int = 0,
        max_file_bytes: int = 0,
        catalog: str | os.PathLike[str] | None = None,
        server: str = "PYTHON",
    ) -> None:
        from pathlib import Path

        settings = _core.WriterSettings()
        assign(settings, folder=os.fspath(folder), experiment=experiment, stream=stream)
        assign(settings, run=run, first_file=first_file, max_events=max_events, max_file_bytes=max_file_bytes)
        Path(folder).mkdir(parents=True, exist_ok=True)
        self._writer: _core.EventWriter | None = _core.EventWriter(generation_of(generation), settings, server)
        self._files: tuple[Path, ...] = ()
        self._folder = settings.folder
        self._experiment = experiment
        self._catalog = None if catalog is None else os.fspath(catalog)
        self._is_older = generation == "older"
        self._types = _core.data_types(generation_of(generation))
        self._compression = compression
        self._zlib_level = zlib_level
        self._server = server
        self._channels: dict[str, _Declared] = {}
        self._has_events = False

    @property
    def files(self) -> tuple[Path, ...]:
        """Paths of the files that are complete, in order."""
        from pathlib import Path

        if self._writer is not None:
            self._files = tuple(map(Path, self._writer.files))
        return self._files

    def channel(
        self,
        name: str,
        kind: WriterKind = "spectrum",
        *,
        dtype: str | None = None,
        members: int | None = None,
        unit: str = "",
        description: str = "",
        axis: str = "",
        axis_unit: str = "",
        start: float = 0.0,
        increment: float = 1.0,
        groups_increment: float = 0.0,
        summary: Literal["none", "means", "all"] = "none",
        compression: Literal["none", "zlib", "lzo"] | None = None,
    ) -> None:
        """Declare a channel, before the first event; it is in every file, with or without data.

        Parameters
        ----------
        name
            1 to 255 bytes, in the older generation 1 to 31, without ":" and ";".
        kind
            What its values are: see `Writer`.
        dtype
            Name of the data type, such as "RAVO_BLOCK_BPM_2010", which has names for its members; left out, a
            plain one that fits.
        members
            Of a spectrum, if it has several.
        unit, description, axis, axis_unit
            What the file says about the channel; units of several members are a list, "mm, mm, nC".
        start, increment, groups_increment
            The axis of a spectrum: value of the first sample, distance of neighbouring samples, and of groups.
        summary
            What the file holds of each spectrum besides its values: nothing, the mean of each member, or mean,
            root mean square, least and greatest value too.
        compression
            How the values are stored.
        """
        self._check_new(name)
        declared = self._declared(kind, dtype, members)
        axis_of_spectrum = (start, increment, groups_increment, summary)
        if kind != "spectrum" and axis_of_spectrum != (0.0, 1.0, 0.0, "none"):
            raise ValueError(f'"{name}" is of the kind {kind}; only a spectrum has start, increment and summary')
        if summary not in _SUMMARIES or (self._is_older and summary == "all"):
            possible = _SUMMARIES[:2] if self._is_older else _SUMMARIES
            raise ValueError(f'summary is "{summary}"; it is {join_or(possible)}')
        declared.start, declared.increment, declared.groups_increment, declared.summary = axis_of_spectrum
        declared.compression = compression
        words = _core.ChannelWords()
        words.description, words.units, words.axis, words.axis_units = description, unit, axis, axis_unit
        self._enter(name, declared, words)

    def add(self, number: int, time: TimeLike, values: Mapping[str, WrittenValue]) -> None:
        """Add an event, whole or not at all.

        Parameters
        ----------
        number
            Of the event, at most 4,294,967,294.
        time
            Of the event; events come in the order of their times. Text is UTC unless it says otherwise.
        values
            A value for each channel that has data in this event, one at least. Floats are rounded to float32.
        """
        writer = self._open()
        number = operator.index(number)
        if not 0 <= number <= _LARGEST_NUMBER:
            raise ValueError(f"The event number {number} is not from 0 to {_LARGEST_NUMBER}")
        if not values:
            raise ValueError(f"The event {number} has no value; leave it out")
        time_us = microseconds(time)
        if not _SECOND <= time_us < 2**32 * _SECOND:
            raise ValueError(f"The time {time} of event {number} is not between 1970 and 2106")
        channels = {name: self._channels.get(name) or self._declared_for(name, one) for name, one in values.items()}
        payloads = [_payload_of(channels[name], name, one, number, time_us) for name, one in values.items()]
        for name, channel in channels.items():
            if channel.index < 0:
                self._enter(name, channel, _core.ChannelWords())
        blocks = [(channel.index, one) for channel, one in zip(channels.values(), payloads, strict=True)]
        writer.add_event(number, time_us, blocks)
        self._has_events = True

    def close(self) -> tuple[Path, ...]:
        """Complete the file that is open, and return the paths of all. Closing again does nothing."""
        if self._writer is None:
            return self._files
        self._writer.close()
        files = self.files
        self._writer = None
        if self._catalog is not None:
            names = {str(path.name) for path in files}
            problems = _core.extend_catalogue(self._folder, self._catalog, self._experiment)
            ours = [text for text in problems if any(name in text for name in names) or self._catalog in text]
            if ours:
                raise WriteError("; ".join(ours))
        return files

    def abandon(self) -> None:
        """Drop the file that is open; those that are complete stay."""
        self._files = self.files
        self._writer = None

    def __enter__(self) -> Self:
        """Return the writer."""
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        """Close the writer, or abandon it if the block has raised."""
        if error is None:
            self.close()
        else:
            self.abandon()

    def __del__(self) -> None:
        """Warn of a writer with events that was neither closed nor abandoned."""
        if getattr(self, "_writer", None) is not None and self._has_events:
            text = f"{self!r} was not closed: the file that is open is dropped"
            warnings.warn(text, ResourceWarning, stacklevel=2, source=self)

    def __repr__(self) -> str:
        """Return the folder, and how far the writer is."""
        state = "closed" if self._writer is None else "open"
        return f"<ravo.Writer {self._folder!r}: {len(self._channels)} channels, {len(self.files)} files, {state}>"

    def _open(self) -> _core.EventWriter:
        if self._writer is None:
            raise ValueError("The writer is closed")
        return self._writer

    def _check_new(self, name: str) -> None:
        self._open()
        if name in self._channels:
            raise ValueError(f'The channel "{name}" is there already')
        if self._has_events:
            raise ValueError(f'The channel "{name}" comes after the first event; declare it before, by channel()')

    def _declared(self, kind: WriterKind, dtype: str | None, members: int | None) -> _Declared:
        """Return a channel whose data type agrees with its kind and its members."""
        if kind not in _KINDS:
            raise ValueError(f'There is no kind "{kind}"; there are {", ".join(_KINDS)}')
        if members is not None and not 1 <= members <= _MOST_MEMBERS:
            raise ValueError(f"members is {members}; a spectrum has 1 to {_MOST_MEMBERS} members")
        name = dtype or self._plain_type(kind, members or 1)
        if name not in self._types:
            near = near_names(name, list(self._types))
            hint = f"; did you mean {join_or(near)}?" if near else ", which ravo.Writer's generation= chooses"
            raise ValueError(f'There is no data type "{name}" in this generation of the format{hint}')
        kind_of_type, members_of_type = self._types[name]
        if kind_of_type != kind:
            raise ValueError(f"{name} is a type of {kind_of_type} channels, not of {kind}")
        if kind != "spectrum":
            if members is not None:
                raise ValueError(f"Only a spectrum has members; this channel is of the kind {kind}")
            return _Declared(kind, name)
        if name == _GENERIC:
            return _Declared(kind, name, 1 if members is None else members)
        if members not in (None, members_of_type):
            raise ValueError(f"{name} has {members_of_type} members, not {members}")
        return _Declared(kind, name, members_of_type)

    def _plain_type(self, kind: WriterKind, members: int) -> str:
        if kind == "slow":
            return "RAVO_UPD_BLOCK" if self._is_older else "RAVO_UPD_BLOCK_2010"
        if kind != "spectrum":
            return _TYPES[kind]
        if self._is_older:
            return "RAVO_BLOCK_SINGLE" if members == 1 else _GENERIC
        return f"RAVO_BLOCK_{members}CHAN_2010" if 1 <= members <= 8 else _GENERIC

    def _declared_for(self, name: str, value: WrittenValue) -> _Declared:
        """Return a channel for its first value."""
        self._check_new(name)
        kind = _kind_of(value)
        if kind != "spectrum":
            return self._declared(kind, None, None)
        shape = np.shape(value)
        dtype = _GENERIC if self._is_older and len(shape) > 2 else None
        return self._declared(kind, dtype, shape[0] if len(shape) > 1 else None)

    def _enter(self, name: str, channel: _Declared, words: _core.ChannelWords) -> None:
        """Give a channel to the writer."""
        if channel.kind == "environment":
            channel.env_index = sum(one.kind == "environment" for one in self._channels.values())
        stored = "none" if channel.kind in ("slow", "environment") else channel.compression or self._compression
        words.server = self._server
        writer = self._open()
        channel.index = writer.add_channel(name, channel.dtype, stored, self._zlib_level, channel.env_index, words)
        self._channels[name] = channel


def _kind_of(value: WrittenValue) -> WriterKind:
    if isinstance(value, str):
        return "text"
    if isinstance(value, Mapping):
        return "name_value"
    if isinstance(value, tuple) and len(value) == 2 and all(np.ndim(one) == 1 for one in value):
        return "profile"
    return "image" if isinstance(value, np.ndarray) and _is_image(value) else "spectrum"


def _is_image(array: NDArray[Any]) -> bool:
    return array.ndim == 2 and array.dtype.kind == "u" and array.dtype.itemsize <= 4


def _payload_of(channel: _Declared, name: str, value: Any, number: int, time_us: int) -> bytes:
    """Return the data of one channel's block. What refuses the value says whose it is."""
    try:
        return _payload(channel, name, value, number, time_us)
    except (TypeError, ValueError) as error:
        raise ValueError(f'The value of "{name}" at event {number}: {error}') from None


def _payload(channel: _Declared, name: str, value: Any, number: int, time_us: int) -> bytes:
    if channel.kind == "spectrum":
        return _spectrum(channel, value)
    if channel.kind == "image":
        return _image(channel, value, number)
    if channel.kind == "profile":
        if not isinstance(value, Sequence) or len(value) != 2:
            raise ValueError("a profile is a pair of arrays, along x and along y")
        return _core.profile_payload(*(_floats(one, "profile", 1) for one in value))
    if channel.kind == "text":
        if not isinstance(value, str):
            raise TypeError(f"a text is a str, not {type(value).__name__}")
        return _core.text_payload(value)
    if channel.kind == "name_value":
        if not isinstance(value, Mapping):
            raise TypeError(f"names and values are a mapping, not {type(value).__name__}")
        return _core.name_value_payload([(key, float(_floats(one, "value", 0))) for key, one in value.items()])
    scalar = float(_floats(value, "slow value", 0))
    if channel.kind == "environment":
        return _core.environment_payload(channel.env_index, time_us, scalar)
    return _core.update_payload(channel.dtype, name, time_us, scalar)


def _unmasked(value: ArrayLike) -> NDArray[Any]:
    if np.ma.is_masked(value):
        raise ValueError("some of it is masked, which the format cannot say; fill it, as .filled(nan) does")
    return np.asarray(value)


def _floats(value: ArrayLike, what: str, most_dimensions: int) -> NDArray[np.float32]:
    """Return the values as the format holds them; refuse those that it cannot hold."""
    given = _unmasked(value)
    if given.dtype.kind not in "fiub":
        raise TypeError(f"a {what} is of numbers, not of {given.dtype}")
    if given.ndim > most_dimensions:
        raise ValueError(f"a {what} has at most {most_dimensions} dimensions, not {given.ndim}")
    with np.errstate(over="ignore"):
        stored = np.ascontiguousarray(given, dtype=np.float32).reshape(given.shape)
    if given.dtype.kind == "f" and bool(np.any(np.isinf(stored) & ~np.isinf(given))):
        raise ValueError("a number is too large for float32, which the format has")
    if given.dtype.kind in "iu" and bool(np.any(stored.astype(np.longdouble) != given.astype(np.longdouble))):
        raise ValueError("an integer has more than 24 bits, so float32, which the format has, would change it")
    return stored


def _spectrum(channel: _Declared, value: ArrayLike) -> bytes:
    values = _floats(value, "spectrum", 3)
    if values.ndim > 1 and values.shape[0] != channel.members:
        raise ValueError(f"the channel has {channel.members} members, not {values.shape[0]}")
    samples = values.shape[-1] if values.ndim > 0 else 1
    groups = values.shape[1] if values.ndim == 3 else 1
    members = values.shape[0] if values.ndim > 1 else 1
    return _core.spectrum_payload(
        channel.dtype,
        values.reshape(-1),
        members,
        groups,
        samples,
        channel.start,
        channel.increment,
        channel.groups_increment,
        channel.summary,
    )


def _image(channel: _Declared, value: ArrayLike, number: int) -> bytes:
    pixels = _unmasked(value)
    if not _is_image(pixels):
        raise ValueError(
            f"an image is an array (height, width) of uint8, uint16 or uint32, not {pixels.shape} of {pixels.dtype}"
        )
    height, width = pixels.shape
    flat = np.ascontiguousarray(pixels, dtype=pixels.dtype.newbyteorder("=")).reshape(-1)
    if pixels.dtype.itemsize == 1:
        return _core.frame_payload_8(channel.dtype, flat, height, width, number)
    if pixels.dtype.itemsize == 2:
        return _core.frame_payload_16(channel.dtype, flat, height, width, number)
    return _core.frame_payload_32(channel.dtype, flat, height, width, number)
