"""Lazy dask arrays of sets and stores: one task per group of whole blocks (a set)
or chunks (a store), each reading through the package's own readers in whatever
process runs it. A task opens the set again by its path, once per thread, so the
array goes to the workers of a dask.distributed cluster as it is (they need the
files at the same path)."""
import os
import threading

import numpy as np

TARGET_BYTES = 64 << 20  # of one dask chunk, about
_opened = threading.local()


def _level_of(path, level):
    sets = _opened.__dict__.setdefault("sets", {})
    if path not in sets:
        from . import open as open_set
        sets[path] = open_set(path)
    return sets[path].level(level)


class LevelSource:
    """A level as dask.array.from_array takes it: shape, dtype, slicing; pickled as its path."""

    def __init__(self, path, level, shape, dtype):
        self.path, self.level, self.shape, self.dtype = path, level, shape, dtype
        self.ndim = len(shape)

    def __getitem__(self, key):
        return _level_of(self.path, self.level)[key]

    def __reduce__(self):
        return LevelSource, (self.path, self.level, self.shape, self.dtype)


def chunk_shape(shape, unit, itemsize):
    """Whole multiples of the unit (z, y, x) grown along x, then y, then z up to about
    TARGET_BYTES; the components (a fourth axis) whole."""
    chunk = list(unit[:3])
    sample = itemsize * (shape[3] if len(shape) == 4 else 1)
    for axis in (2, 1, 0):
        while chunk[axis] < shape[axis] and np.prod(chunk) * 2 * sample <= TARGET_BYTES:
            chunk[axis] = min(chunk[axis] * 2, shape[axis])
    chunk = [min(c, n) for c, n in zip(chunk, shape[:3])]
    return tuple(chunk) + ((shape[3],) if len(shape) == 4 else ())


def level_array(path, level, view, unit):
    import dask.array as da
    path = os.path.abspath(path)
    stamp = os.stat(path).st_mtime_ns
    chunks = chunk_shape(view.shape, unit, view.dtype.itemsize)
    source = LevelSource(path, level, view.shape, view.dtype)
    return da.from_array(source, chunks=chunks, name=f"uxdiskdata-{path}-{level}-{stamp}", lock=False,
                         asarray=True, fancy=False)
