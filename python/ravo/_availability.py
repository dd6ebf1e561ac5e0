"""When which channels of a run have values."""

from __future__ import annotations

from typing import TYPE_CHECKING

import numpy as np
from numpy.typing import NDArray

from ravo import _core
from ravo._core import ChannelAvailability
from ravo._times import as_datetimes

if TYPE_CHECKING:
    from matplotlib.axes import Axes


class Availability:
    """How many values each channel has in bins of time, by the tables of the files; ``run.availability`` makes it.

    Examples
    --------
    >>> found = run.availability(10)
    >>> len(found.edges), len(found.channels) == len(run)
    (11, True)
    """

    def __init__(self, found: _core.Availability) -> None:
        """Wrap what the dataset found."""
        self._found = found
        self._channels = found.channels

    @property
    def edges_us(self) -> NDArray[np.int64]:
        """Bin i is from ``edges_us[i]`` up to but without ``edges_us[i + 1]``, microseconds since 1970."""
        return self._found.edges_us

    @property
    def edges(self) -> NDArray[np.datetime64]:
        """The same as ``datetime64[us]`` in UTC."""
        return as_datetimes(self.edges_us)

    @property
    def channels(self) -> list[ChannelAvailability]:
        """The channels in the order of the run, each with numbers for every bin."""
        return self._channels

    def plot(self, *, ax: Axes | None = None) -> Axes:
        """Draw a row for each channel: dark where it has many values, marked where something is missing.

        Parameters
        ----------
        ax
            Where to draw; left out, a new figure.

        Raises
        ------
        ImportError
            Without the package matplotlib.

        Examples
        --------
        >>> run.availability(100).plot().get_xlabel()
        'time (UTC)'
        """
        try:
            from ravo._plot import plot_availability
        except ImportError as error:
            raise ImportError("Plots need the package matplotlib: pip install 'ravo[plot]'") from error
        return plot_availability(self, ax)

    def __repr__(self) -> str:
        """Return the number of channels and bins."""
        return f"<ravo.Availability: {len(self.channels)} channels, {len(self.edges_us) - 1} bins>"
