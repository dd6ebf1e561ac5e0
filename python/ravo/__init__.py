"""Reads the raw files of an accelerator's data acquisition: any event, any channel, at full speed.

`ravo.open` opens files by a selection and returns a `Run`; ``run["NAME"]`` is a `Channel`, whose values
are read when they are asked for. Every value has a `Status`, every reading a `Ledger`: a missing value
is never hidden.

Examples
--------
>>> import ravo
>>> run = ravo.open(folder, chan="LINAC/BPM/*")
>>> x = run["LINAC/BPM/001"]["X"].numpy()
>>> x.shape, x.dtype
((200, 64), dtype('float32'))
"""

from ravo._availability import Availability
from ravo._batch import Batch
from ravo._channel import Axis, Channel
from ravo._core import (
    BlockPlace,
    ChannelAvailability,
    ChannelIndex,
    ChannelLedger,
    Column,
    Compression,
    Description,
    Digest,
    Envelope,
    Event,
    FileRefusal,
    FollowedEvent,
    Following,
    FoundBy,
    FoundFiles,
    Generation,
    Histogram,
    IndexStatus,
    Kind,
    Ledger,
    MissingCause,
    MissingValue,
    Partition,
    Plan,
    Problem,
    ProblemReason,
    RefusedFile,
    Selection,
    Statistics,
    Status,
    Table,
    Value,
    ValueDigest,
    digests_from_json,
    digests_to_json,
)
from ravo._core import version as __version__
from ravo._errors import (
    AccessError,
    Cancelled,
    ChannelNotFound,
    Error,
    FileLeftOut,
    FileMissing,
    FilesNotFound,
    JsonError,
    MemoryExceeded,
    MissingData,
    MissingValues,
    PatternError,
    SelectionError,
    ShapeError,
    SimulationError,
    VerificationError,
    WriteError,
)
from ravo._follow import follow
from ravo._run import Run, find_files, open
from ravo._simulate import Simulated, fault_kinds, simulate
from ravo._tables import to_pandas
from ravo._values import Values
from ravo._verify import Finding, Report, VerifiedFile, verify
from ravo._writer import Writer
from ravo._zarr import zarr_store

__all__ = [
    "AccessError",
    "Availability",
    "Axis",
    "Batch",
    "BlockPlace",
    "Cancelled",
    "Channel",
    "ChannelAvailability",
    "ChannelIndex",
    "ChannelLedger",
    "ChannelNotFound",
    "Column",
    "Compression",
    "Description",
    "Digest",
    "Envelope",
    "Error",
    "Event",
    "FileLeftOut",
    "FileMissing",
    "FileRefusal",
    "FilesNotFound",
    "Finding",
    "FollowedEvent",
    "Following",
    "FoundBy",
    "FoundFiles",
    "Generation",
    "Histogram",
    "IndexStatus",
    "JsonError",
    "Kind",
    "Ledger",
    "MemoryExceeded",
    "MissingCause",
    "MissingData",
    "MissingValue",
    "MissingValues",
    "Partition",
    "PatternError",
    "Plan",
    "Problem",
    "ProblemReason",
    "RefusedFile",
    "Report",
    "Run",
    "Selection",
    "SelectionError",
    "ShapeError",
    "Simulated",
    "SimulationError",
    "Statistics",
    "Status",
    "Table",
    "Value",
    "ValueDigest",
    "Values",
    "VerificationError",
    "VerifiedFile",
    "WriteError",
    "Writer",
    "__version__",
    "digests_from_json",
    "digests_to_json",
    "fault_kinds",
    "find_files",
    "follow",
    "open",
    "simulate",
    "to_pandas",
    "verify",
    "zarr_store",
]
