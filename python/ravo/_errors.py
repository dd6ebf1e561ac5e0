"""What the package raises. Messages name the file and say what to do."""

from __future__ import annotations


class Error(Exception):
    """The base of all that the package raises by itself.

    Examples
    --------
    >>> import ravo
    >>> try:
    ...     ravo.open("linac/main run=first")
    ... except ravo.Error as error:
    ...     print(type(error).__name__)
    SelectionError
    """


class SelectionError(Error, ValueError):
    """A selection that cannot be read, or that nothing matches."""


class PatternError(SelectionError):
    """A pattern of channels that makes no sense, whatever channels there are."""


class FilesNotFound(SelectionError, FileNotFoundError):
    """A selection that matches no raw file, or none that can be used now, or that lists one that is not there."""

    def __str__(self) -> str:
        """Return the message."""
        return str(self.args[0]) if self.args else ""


class ChannelNotFound(SelectionError, KeyError):
    """A channel that the run does not have. The message names channels that are spelt nearly alike."""

    def __str__(self) -> str:
        """Return the message as it is, where ``KeyError`` would quote it."""
        return str(self.args[0]) if self.args else ""


class MissingData(Error):
    """More is missing than ``largest_missing_share`` allows. The message names the first cause."""


class FileLeftOut(MissingData):
    """A file that cannot be read, where ``largest_missing_share`` allows no such file."""


class FileMissing(FileLeftOut, FileNotFoundError):
    """A file that does not exist, where ``largest_missing_share`` allows no such file."""

    def __str__(self) -> str:
        """Return the message."""
        return str(self.args[0]) if self.args else ""


class MissingValues(MissingData, ValueError):
    """Integers, some of which are missing, were asked for as a plain array, which cannot say so."""


class MemoryExceeded(Error, MemoryError):
    """``memory_limit`` is too small for what was asked, or what the program holds fills it."""


class AccessError(Error, LookupError):
    """What is not there was asked for: a row by a number that is too large, values of another type."""


class ShapeError(Error, ValueError):
    """A part of values that differ in shape from row to row was asked for: only whole rows can be taken."""


class JsonError(Error, ValueError):
    """A text that is not the JSON of what is read from it."""


class WriteError(Error, OSError):
    """A file cannot be written. Nothing incomplete has its final name."""


class SimulationError(Error, OSError):
    """The files of a simulation cannot be written, or damaged as was asked."""


class VerificationError(Error, LookupError):
    """What is to be verified cannot be found: the catalogue has none of the runs."""


class Cancelled(Error):
    """A reading was stopped. Ctrl-C raises ``KeyboardInterrupt``."""
