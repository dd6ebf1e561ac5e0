"""What `import ravo` takes, and what it leaves for later."""

from __future__ import annotations

import subprocess
import sys

# What only those need who use it; NumPy alone is always there.
FOR_LATER = ("xarray", "pandas", "pyarrow", "awkward", "dask", "zarr", "h5py", "matplotlib", "IPython", "tqdm")


def in_a_new_process(code: str, *options: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run([sys.executable, "-I", *options, "-c", code], capture_output=True, text=True, check=True)


def test_import_brings_numpy_alone() -> None:
    loaded = in_a_new_process("import sys, ravo; print(*sys.modules)").stdout.split()
    assert "numpy" in loaded
    assert not set(FOR_LATER) & set(loaded)


# Small modules of Python's own; each that is added makes every start longer.
BESIDE_NUMPY = {"__future__", "atexit", "copy", "dataclasses", "errno", "numpy.typing", "numpy._typing._add_docstring"}


def test_import_brings_little_beside_numpy() -> None:
    code = "import sys, numpy; before = set(sys.modules); import ravo; print(*set(sys.modules) - before)"
    added = {name for name in in_a_new_process(code).stdout.split() if name.split(".")[0] != "ravo"}
    assert added <= BESIDE_NUMPY


def test_the_version_is_that_of_the_package() -> None:
    printed = in_a_new_process(
        "import importlib.metadata, ravo; print(ravo.__version__ == importlib.metadata.version('ravo'))"
    )
    assert printed.stdout == "True\n"
