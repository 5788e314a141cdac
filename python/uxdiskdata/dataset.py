"""A disk-data set opened from its description file."""
import math
import os

import numpy as np

from .blockfiles import BlockFiles
from .description import PRIM_TYPE_NAMES, PRIM_TYPES, read_description
from .lattice import Lattice
from .pyramid import Pyramid
from .view import LevelView


class DiskDataSet:
    """A set read straight from its files; indexing it reads level 0.

    ``shape`` is (z, y, x), with the components last when a sample has more
    than one; ``level(L)`` gives level L, whose every axis holds
    ceil(n / 2^L) samples, for L below ``levels``.
    """

    def __init__(self, path):
        description = read_description(path)
        self.path = description.path
        self.description = description
        self.bounding_box = description.bounding_box
        self.blocking = description.blocking
        self.lattice = Lattice(description.dims, description.blocking)
        self.levels = self.lattice.levels
        dtype = np.dtype(PRIM_TYPES[description.prim_type])
        # Python's integers: a product numpy would wrap (to 0, say) stays what it is.
        block_size = math.prod(description.blocking) * description.n_data_var * dtype.itemsize
        # A relative DataFilePath names a file from the current folder, as in the host.
        template = os.path.abspath(description.data_file_path)
        files = BlockFiles(template, block_size, self.lattice.num_blocks, self.path)
        self._pyramid = Pyramid(self.lattice, files, dtype, description.n_data_var)
        self._levels = [LevelView(self._pyramid, level) for level in range(self.levels)]
        for view in self._levels:
            view._origin = self.path
        self.shape = self._levels[0].shape
        self.dtype = self._levels[0].dtype
        self.type_name = PRIM_TYPE_NAMES[description.prim_type]

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
        """(current, total) blocks of a level; coarse blocks that are not current are computed when read."""
        total = self.lattice.blocks_at(level)
        if level == 0:
            return total, total
        return self._pyramid.files.count_current(self.lattice.first_block(level), total), total

    def close(self):
        self._pyramid.files.close()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __repr__(self):
        return f"<disk-data set {self.path}: shape {self.shape}, {self.dtype}, {self.levels} levels>"
