"""Raw files of both generations, written from arrays."""

from __future__ import annotations

import os
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from pathlib import Path
from types import TracebackType
from typing import Any, Literal, Self, TypeAlias

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ravo import _core
from ravo._errors import WriteError
from ravo._simulate import GenerationName, generation_of
from ravo._times import TimeLike, microseconds

WriterKind: TypeAlias = Literal["spectrum", "image", "profile", "slow", "environment", "text", "name_value"]
WrittenValue: TypeAlias = "ArrayLike | str | Mapping[str, float] | tuple[ArrayLike, ArrayLike]"

_GENERIC = "RAVO_BLOCK_GENERIC_SPECT"
_TYPES = {
    "image": "RAVO_BLOCK_IMAGE_EXT",
    "profile": "RAVO_BLOCK_IMG_ROI1",
    "environment": "RAVO_ENV_BLOCK",
    "text": "RAVO_BLOCK_NAME_VALUE_STRING",
    "name_value": "RAVO_BLOCK_NAME_VALUE",
}
_PIXELS = {np.dtype(np.uint8), np.dtype(np.uint16), np.dtype(np.uint32)}


@dataclass
class _Declared:
    """A channel of the files."""

    index: int
    kind: WriterKind
    dtype: str
    start: float
    increment: float
    groups_increment: float
    summary: str
    env_index: int


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
    known when the first event is added.

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
        If the system refuses to write.

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
        settings = _core.WriterSettings()
        settings.folder = os.fspath(folder)
        settings.experiment, settings.stream = experiment, stream
        settings.run, settings.first_file = run, first_file
        settings.max_events, settings.max_file_bytes = max_events, max_file_bytes
        Path(folder).mkdir(parents=True, exist_ok=True)
        self._writer: _core.EventWriter | None = _core.EventWriter(generation_of(generation), settings, server)
        self._files: tuple[Path, ...] = ()
        self._folder = settings.folder
        self._experiment = experiment
        self._catalog = None if catalog is None else os.fspath(catalog)
        self._is_older = generation == "older"
        self._compression = compression
        self._zlib_level = zlib_level
        self._server = server
        self._channels: dict[str, _Declared] = {}
        self._has_events = False

    @property
    def files(self) -> tuple[Path, ...]:
        """Paths of the files that are complete, in order."""
        if self._writer is not None:
            self._files = tuple(map(Path, self._writer.files))
        return self._files

    def channel(
        self,
        name: str,
        kind: WriterKind = "spectrum",
        *,
        dtype: str | None = None,
        members: int = 1,
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
            Of a spectrum.
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
        writer = self._open()
        if name in self._channels:
            raise ValueError(f'The channel "{name}" is there already')
        if self._has_events:
            raise ValueError(f'The channel "{name}" comes after the first event; declare it before, by channel()')
        words = _core.ChannelWords()
        words.description, words.units, words.axis, words.axis_units = description, unit, axis, axis_unit
        words.server = self._server
        type_name = dtype or self._dtype(kind, members)
        env_index = sum(one.kind == "environment" for one in self._channels.values()) if kind == "environment" else -1
        stored = "none" if kind in ("slow", "environment") else compression or self._compression
        index = writer.add_channel(name, type_name, stored, self._zlib_level, env_index, words)
        self._channels[name] = _Declared(index, kind, type_name, start, increment, groups_increment, summary, env_index)

    def add(self, number: int, time: TimeLike, values: Mapping[str, WrittenValue]) -> None:
        """Add an event, whole or not at all.

        Parameters
        ----------
        number
            Of the event, at most 4,294,967,295.
        time
            Of the event; events come in the order of their times. Text is UTC unless it says otherwise.
        values
            A value for each channel that has data in this event.
        """
        writer = self._open()
        if not 0 <= number <= 0xFFFFFFFF:
            raise ValueError(f"The event number {number} is not from 0 to 4294967295")
        time_us = microseconds(time)
        for name, value in values.items():
            if name not in self._channels:
                self._declare_for(name, value)
        blocks = [self._block(name, value, number, time_us) for name, value in values.items()]
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

    def __repr__(self) -> str:
        """Return the folder, and how far the writer is."""
        state = "closed" if self._writer is None else "open"
        return f"<ravo.Writer {self._folder!r}: {len(self._channels)} channels, {len(self.files)} files, {state}>"

    def _open(self) -> _core.EventWriter:
        if self._writer is None:
            raise ValueError("The writer is closed")
        return self._writer

    def _dtype(self, kind: WriterKind, members: int) -> str:
        if kind == "slow":
            return "RAVO_UPD_BLOCK" if self._is_older else "RAVO_UPD_BLOCK_2010"
        if kind != "spectrum":
            if kind not in _TYPES:
                raise ValueError(f'There is no kind "{kind}"; there are spectrum, slow, {", ".join(_TYPES)}')
            return _TYPES[kind]
        if self._is_older:
            return "RAVO_BLOCK_SINGLE" if members == 1 else _GENERIC
        return f"RAVO_BLOCK_{members}CHAN_2010" if 1 <= members <= 8 else _GENERIC

    def _declare_for(self, name: str, value: WrittenValue) -> None:
        """Declare a channel by its first value."""
        kind = _kind_of(value)
        if kind != "spectrum":
            return self.channel(name, kind)
        shape = np.shape(value)  # type: ignore[arg-type]
        members = shape[0] if len(shape) > 1 else 1
        dtype = _GENERIC if self._is_older and len(shape) > 2 else None
        return self.channel(name, members=members, dtype=dtype)

    def _block(self, name: str, value: WrittenValue, number: int, time_us: int) -> tuple[int, bytes]:
        """Return the data of one channel's block."""
        channel = self._channels[name]
        try:
            return channel.index, _payload(channel, name, value, number, time_us)
        except (TypeError, ValueError) as error:
            raise ValueError(f'The value of "{name}" at event {number}: {error}') from None


def _kind_of(value: WrittenValue) -> WriterKind:
    if isinstance(value, str):
        return "text"
    if isinstance(value, Mapping):
        return "name_value"
    if isinstance(value, tuple) and len(value) == 2 and all(np.ndim(one) == 1 for one in value):
        return "profile"
    if isinstance(value, np.ndarray) and value.dtype in _PIXELS and value.ndim == 2:
        return "image"
    return "spectrum"


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


def _floats(value: ArrayLike, what: str, most_dimensions: int) -> NDArray[np.float32]:
    """Return the values as the format holds them; refuse those that it cannot hold."""
    given = np.asarray(value)
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
    pixels = np.asarray(value)
    if pixels.dtype not in _PIXELS or pixels.ndim != 2:
        raise ValueError(
            f"an image is an array (height, width) of uint8, uint16 or uint32, not {pixels.shape} of {pixels.dtype}"
        )
    height, width = pixels.shape
    flat = np.ascontiguousarray(pixels).reshape(-1)
    if pixels.dtype == np.uint8:
        return _core.frame_payload_8(channel.dtype, flat, height, width, number)
    if pixels.dtype == np.uint16:
        return _core.frame_payload_16(channel.dtype, flat, height, width, number)
    return _core.frame_payload_32(channel.dtype, flat, height, width, number)
