"""How objects of the extension module are pickled: as their texts, by functions that pickle can name."""

from __future__ import annotations

import copyreg

from ravo._core import Digest, Ledger, Selection, ValueDigest


def ledger_of(text: str) -> Ledger:
    """Return the ledger of a line of JSON."""
    return Ledger.from_json(text)


def digest_of(text: str, values: int) -> Digest:
    """Return the digest of so many values."""
    return Digest.from_text(text, values)


def value_digest_of(text: str, values: int) -> ValueDigest:
    """Return the digest of so many values."""
    return ValueDigest.from_text(text, values)


def selection_of(text: str) -> Selection:
    """Return the selection of a text."""
    return Selection.parse(text)


copyreg.pickle(Ledger, lambda ledger: (ledger_of, (ledger.to_json(),)))
copyreg.pickle(Digest, lambda digest: (digest_of, (digest.text, digest.values)))
copyreg.pickle(ValueDigest, lambda digest: (value_digest_of, (digest.text, digest.values)))
copyreg.pickle(Selection, lambda selection: (selection_of, (selection.to_text(),)))
