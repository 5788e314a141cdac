"""An lda store, or any OME-Zarr image the host reads, opened as a set: OME-Zarr 0.4
(Zarr version 2) or 0.5 (Zarr version 3, sharded or not), axes [t,] [c,] [z,] y, x,
the image found at the root or, for a converter's layout, in series "0/".

Levels are the datasets whose scale is a whole multiple of level 0's on every axis.
A set offers what a disk-data set offers: ``shape`` (z, y, x, components last when
there are several), ``dtype``, ``levels``, ``level(L)`` and slicing, ``bounding_box``.
"""
import math
import os

import numpy as np

from .errors import DiskDataError
from .view import SlicedLevel
from .zarrarray import ZarrArray, read_json

DATASETS_LIMIT = 32


def find_image(path, series_zero=False):
    """(folder, zarr version, the OME attributes holding "multiscales")."""
    if os.path.isfile(os.path.join(path, "zarr.json")):
        attributes = read_json(os.path.join(path, "zarr.json")).get("attributes") or {}
        attributes, version = attributes.get("ome", attributes), 3
    else:
        attributes, version = read_json(os.path.join(path, ".zattrs")), 2
    if not isinstance(attributes, dict):
        raise DiskDataError(path, "its attributes are not an object")
    if "multiscales" in attributes:
        return path, version, attributes
    if not series_zero and "bioformats2raw.layout" in attributes:
        return find_image(os.path.join(path, "0"), True)
    raise DiskDataError(path, "holds no multiscales entry")


def axis_roles(axes, path):
    """Index of x, y, z (or None), channel and time in the arrays' axes."""
    if not isinstance(axes, list) or not 2 <= len(axes) <= 5:
        raise DiskDataError(path, "its axes are not 2 to 5 named axes")
    names = [a if isinstance(a, str) else a.get("name") if isinstance(a, dict) else None for a in axes]
    types = [a.get("type") if isinstance(a, dict) else None for a in axes]
    roles, rest = {}, list(range(len(axes)))
    for role in "xy":
        if not rest or names[rest[-1]] != role:
            raise DiskDataError(path, "its axes do not end in y, x")
        roles[role] = rest.pop()
    roles["z"] = rest.pop() if rest and names[rest[-1]] == "z" else None
    roles["c"] = rest.pop() if rest and (types[rest[-1]] == "channel" or names[rest[-1]] == "c") else None
    roles["t"] = rest.pop() if rest and (types[rest[-1]] == "time" or names[rest[-1]] == "t") else None
    if rest:
        raise DiskDataError(path, "its axes are not [t,] [c,] [z,] y, x")
    return roles


def scale_of(dataset, rank, path):
    for transform in dataset.get("coordinateTransformations") or []:
        if isinstance(transform, dict) and transform.get("type") == "scale":
            scale = transform.get("scale")
            if isinstance(scale, list) and len(scale) == rank and all(isinstance(v, (int, float)) and v > 0
                                                                     for v in scale):
                return scale
            raise DiskDataError(path, "a scale is not of positive numbers, one per axis")
    return [1.0] * rank


def translation_of(dataset, rank):
    for transform in dataset.get("coordinateTransformations") or []:
        if isinstance(transform, dict) and transform.get("type") == "translation":
            return transform.get("translation")
    return [0.0] * rank


class LdaLevelView(SlicedLevel):
    """One stored level: slicing reads the chunks under the slice."""

    def __init__(self, array, roles, level, origin):
        self._array, self._roles, self.level, self._origin = array, roles, level, origin
        self._unit = tuple(array.chunks[roles[a]] if roles[a] is not None else 1 for a in "zyx")
        spatial = tuple(array.shape[roles[a]] if roles[a] is not None else 1 for a in "zyx")
        components = array.shape[roles["c"]] if roles["c"] is not None else 1
        self.shape = spatial + ((components,) if components > 1 else ())
        self.dtype = array.dtype.newbyteorder("=")

    def __repr__(self):
        return f"<level {self.level} of an lda store: shape {self.shape}, {self.dtype}>"

    def _read(self, axes):
        bounds = [(min(r[0], r[-1]), max(r[0], r[-1]) + 1) if len(r) else (0, 0) for r in axes]
        box = [None] * len(self._array.shape)
        for role, bound in zip("zyx", bounds):
            if self._roles[role] is not None:
                box[self._roles[role]] = bound
        for role in "ct":
            if self._roles[role] is not None:
                box[self._roles[role]] = (0, self._array.shape[self._roles[role]])
        data = self._array.read(box)
        order = [self._roles[r] for r in "zyxc" if self._roles[r] is not None]
        data = data.transpose(order + [self._roles["t"]] if self._roles["t"] is not None else order)
        data = data.reshape(tuple(b - a for a, b in bounds) + (-1,))
        picks = tuple(range(r.start - a, r.start - a + len(r) * r.step, r.step) if len(r) else []
                      for r, (a, _) in zip(axes, bounds))
        return data[np.ix_(*picks, range(data.shape[3]))]


class LdaSet:
    """An OME-Zarr image read straight from its files; indexing it reads level 0."""

    def __init__(self, path):
        self.path = path
        folder, version, attributes = find_image(path)
        entries = attributes.get("multiscales")
        if not isinstance(entries, list) or not entries or not isinstance(entries[0], dict):
            raise DiskDataError(path, "holds no multiscales entry")
        entry = entries[0]
        roles = axis_roles(entry.get("axes"), path)
        rank = len(entry["axes"])
        datasets = entry.get("datasets")
        if not isinstance(datasets, list) or not 1 <= len(datasets) <= DATASETS_LIMIT:
            raise DiskDataError(path, f"lists no datasets, or more than {DATASETS_LIMIT}")
        self.sampling = "nearest" if str(entry.get("type", "")).lower() in ("nearest", "pick", "stride") else "mean"
        self._levels, self.factors = [], []
        base = scale_of(datasets[0], rank, path)
        for dataset in datasets:
            key = dataset.get("path") if isinstance(dataset, dict) else None
            if not isinstance(key, str) or not key or key.startswith("/") or ".." in key.split("/"):
                raise DiskDataError(path, f"dataset path {key!r} does not name a folder inside the store")
            ratios = [s / b for s, b in zip(scale_of(dataset, rank, path), base)]
            factors = [round(r) for r in ratios]
            if any(f < 1 or abs(r - f) > 1e-4 * r for r, f in zip(ratios, factors)):
                continue
            array = ZarrArray(os.path.join(folder, key), version)
            if len(array.shape) != rank:
                raise DiskDataError(array.meta_path, f"its shape has not {rank} axes")
            self._levels.append(LdaLevelView(array, roles, len(self._levels), path))
            self.factors.append(tuple(factors[roles[a]] if roles[a] is not None else 1 for a in "zyx"))
        first = self._levels[0]
        self.levels = len(self._levels)
        self.shape, self.dtype = first.shape, first.dtype
        self.type_name = first.dtype.name
        self.bounding_box = self._box(datasets[0], rank, roles, entry)

    def _box(self, dataset, rank, roles, entry):
        scale, translation = scale_of(dataset, rank, self.path), translation_of(dataset, rank)
        outer = scale_of(entry, rank, self.path) if entry.get("coordinateTransformations") else [1.0] * rank
        outer_shift = translation_of(entry, rank) if entry.get("coordinateTransformations") else [0.0] * rank
        box = []
        for role, n in zip("xyz", reversed(self.shape[:3])):
            axis = roles[role]
            if axis is None:
                box += [0.0, 0.0]
                continue
            start = translation[axis] * outer[axis] + outer_shift[axis]
            box += [start, start + scale[axis] * outer[axis] * max(n - 1, 0)]
        return tuple(box)

    @property
    def ndim(self):
        return len(self.shape)

    def level(self, level):
        if not 0 <= level < self.levels:
            raise IndexError(f"level {level} is not among the {self.levels} levels of {self.path}")
        return self._levels[level]

    def to_dask(self):
        """Level 0 as a lazy dask.array."""
        return self._levels[0].to_dask()

    def __getitem__(self, key):
        return self._levels[0][key]

    def __array__(self, dtype=None, copy=None):
        return self._levels[0].__array__(dtype)

    def __len__(self):
        return self.shape[0]

    def current_blocks(self, level):
        """Every chunk of a store is current: (chunks, chunks) of the level."""
        view = self.level(level)
        chunks = math.prod(-(-n // c) for n, c in zip(view._array.shape, view._array.chunks))
        return chunks, chunks

    def close(self):
        pass

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __repr__(self):
        return f"<lda store {self.path}: shape {self.shape}, {self.dtype}, {self.levels} levels>"
