"""The store class that zarr reads; `ravo.zarr_store` makes it. Needs the package zarr."""

from __future__ import annotations

import asyncio
from collections.abc import AsyncIterator, Iterable
from typing import Any, NoReturn

from zarr.abc.store import ByteRequest, OffsetByteRequest, RangeByteRequest, Store, SuffixByteRequest
from zarr.core.buffer import Buffer, BufferPrototype, default_buffer_prototype

from ravo._run import Run
from ravo._zarr_layout import Layout, Options


class RunStore(Store):
    """A run as a Zarr hierarchy, format 3. Chunks are decoded when they are asked for; nothing is written.

    It may be used by several threads and event loops at once. Pickled, it is the run's selection.
    """

    def __init__(self, run: Run, options: Options) -> None:
        """Wrap a run; `ravo.zarr_store` takes the options one by one."""
        super().__init__(read_only=True)
        self._layout = Layout(run, options)

    # ---- reading

    async def get(
        self, key: str, prototype: BufferPrototype | None = None, byte_range: ByteRequest | None = None
    ) -> Buffer | None:
        """Return the bytes of a key, or a range of them; None if there is no such key."""
        found = await asyncio.to_thread(self._layout.get, key)
        if found is None:
            return None
        return (prototype or default_buffer_prototype()).buffer.from_array_like(found[_slice_of(byte_range)])

    async def get_partial_values(
        self, prototype: BufferPrototype, key_ranges: Iterable[tuple[str, ByteRequest | None]]
    ) -> list[Buffer | None]:
        """Return ranges of several keys."""
        return list(await asyncio.gather(*(self.get(key, prototype, wanted) for key, wanted in key_ranges)))

    async def exists(self, key: str) -> bool:
        """Return whether there is a key. Nothing is decoded."""
        return await asyncio.to_thread(self._layout.has, key)

    async def getsize(self, key: str) -> int:
        """Return the number of bytes of a key. Nothing is decoded."""
        size = await asyncio.to_thread(self._layout.size, key)
        if size is None:
            raise FileNotFoundError(key)
        return size

    # ---- listing

    @property
    def supports_listing(self) -> bool:
        """Keys can be listed."""
        return True

    async def list(self) -> AsyncIterator[str]:
        """Yield all keys."""
        for key in await asyncio.to_thread(lambda: [*self._layout.keys()]):
            yield key

    async def list_prefix(self, prefix: str) -> AsyncIterator[str]:
        """Yield the keys that begin with a prefix."""
        async for key in self.list():
            if key.startswith(prefix):
                yield key

    async def list_dir(self, prefix: str) -> AsyncIterator[str]:
        """Yield the names directly below a prefix."""
        for name in await asyncio.to_thread(self._layout.children, prefix):
            yield name

    # ---- nothing is written

    @property
    def supports_writes(self) -> bool:
        """Nothing can be written."""
        return False

    @property
    def supports_deletes(self) -> bool:
        """Nothing can be deleted."""
        return False

    async def set(self, key: str, value: Buffer) -> None:
        """Refuse to write."""
        _refuse(f"{len(value)} bytes cannot be written to {key}")

    async def delete(self, key: str) -> None:
        """Refuse to delete."""
        _refuse(f"{key} cannot be deleted")

    async def delete_dir(self, prefix: str) -> None:
        """Refuse to delete."""
        _refuse(f"{prefix} cannot be deleted")

    async def clear(self) -> None:
        """Refuse to delete."""
        _refuse("nothing can be deleted")

    def _check_writable(self) -> None:
        _refuse("nothing can be written")

    def with_read_only(self, read_only: bool = False) -> RunStore:
        """Return a store of the same run; one that can be written is refused."""
        if not read_only:
            _refuse("nothing can be written")
        return RunStore(self._layout.run, self._layout.options)

    # ---- protocols

    def __eq__(self, other: object) -> bool:
        """Return whether the other store has the same selection and options."""
        return isinstance(other, RunStore) and self._identity() == other._identity()

    def __hash__(self) -> int:
        """Return a hash of selection and options."""
        return hash(self._identity())

    def __reduce__(self) -> tuple[Any, ...]:
        """Pickle the selection and the options."""
        return RunStore, (self._layout.run, self._layout.options)

    def __repr__(self) -> str:
        """Return the selection."""
        return f"<ravo.zarr_store of {self._layout.run.selection}>"

    def _identity(self) -> tuple[str, Options]:
        return self._layout.run.selection, self._layout.options


def _refuse(what: str) -> NoReturn:
    raise ValueError(
        f"The store shows raw files, which are only read: {what}; "
        f"copy it to a store of your own by xarray's to_zarr or zarr.save"
    )


def _slice_of(wanted: ByteRequest | None) -> slice:
    if isinstance(wanted, RangeByteRequest):
        return slice(wanted.start, wanted.end)
    if isinstance(wanted, OffsetByteRequest):
        return slice(wanted.offset, None)
    if isinstance(wanted, SuffixByteRequest):
        return slice(-wanted.suffix, None) if wanted.suffix else slice(0, 0)
    return slice(None)
