"""Blocks of any level as the store would serve them.

A stored block is served as it is when it is current: every level-0 block, and
a coarse block whose valid flag is set and that no intent record marks.
Any other coarse block is computed in memory, exactly as the store rebuilds
it: a zeroed block, filled from the 2x2x2 blocks of the level below (each
itself served this way, recursively), blocks of the level below that lie
entirely beyond the lattice skipped, each reduced by 2 on every axis. The
files are never written. Computed blocks are kept in a small cache.
"""
from collections import OrderedDict

import numpy as np

from .lattice import overlap
from .reduction import halve

CACHE_BYTES = 64 << 20


class Pyramid:
    def __init__(self, lattice, files, dtype, n_data_var):
        self.lattice = lattice
        self.files = files
        self.dtype = dtype
        self.block_shape = tuple(reversed(lattice.blocking)) + (n_data_var,)
        self._computed = OrderedDict()
        self._cache_blocks = max(1, CACHE_BYTES // files.block_size)
        self._apply_intent_record(files.intent_record())

    def _apply_intent_record(self, entries):
        lattice = self.lattice
        if entries is None:  # unreadable: every coarse block is out of date
            first, end = lattice.first_block(1), lattice.first_block(max(lattice.num_levels, 1))
            self.files.clear(np.arange(first, end))
            return
        for x0, x1, y0, y1, z0, z1 in entries:
            for level in range(1, lattice.num_levels):
                ranges = [np.arange(max(lo, 0) >> level, min((hi >> level) + 1, lattice.blocks_along(a, level)))
                          for a, (lo, hi) in enumerate(((x0, x1), (y0, y1), (z0, z1)))]
                nx, ny = lattice.blocks_along(0, level), lattice.blocks_along(1, level)
                numbers = (lattice.first_block(level) + ranges[0][None, None, :]
                           + (ny * ranges[2][:, None, None] + ranges[1][None, :, None]) * nx)
                self.files.clear(numbers)

    def is_current(self, level, index):
        return level == 0 or self.files.is_current(self.lattice.block_number(index, level))

    def row(self, level, first, last, ky, kz):
        """Blocks first .. last along x at (ky, kz) side by side: (z, y, x, components) samples."""
        count = last - first + 1
        number = self.lattice.block_number((first, ky, kz), level)
        if level == 0 or self.files.all_current(number, count):
            blocks = self.files.read(number, count).view(self.dtype).reshape((count,) + self.block_shape)
        else:
            blocks = np.stack([self.block(level, (kx, ky, kz)) for kx in range(first, last + 1)])
        bz, by, bx, components = self.block_shape
        return blocks.transpose(1, 2, 0, 3, 4).reshape(bz, by, count * bx, components)

    def block(self, level, index):
        """Block `index` (x, y, z) of `level` as (z, y, x, components) samples, read-only."""
        if self.is_current(level, index):
            data = self.files.read(self.lattice.block_number(index, level))
            return data.view(self.dtype).reshape(self.block_shape)
        key = (level, tuple(index))
        if key in self._computed:
            self._computed.move_to_end(key)
            return self._computed[key]
        block = self._compute(level, index)
        block.flags.writeable = False
        self._computed[key] = block
        if len(self._computed) > self._cache_blocks:
            self._computed.popitem(last=False)
        return block

    def _compute(self, level, index):
        blocking, dims = self.lattice.blocking, self.lattice.dims
        block = np.zeros(self.block_shape, self.dtype)
        half = [b >> 1 for b in blocking]
        origin = [i * b for i, b in zip(index, blocking)]  # in samples of this level
        below = [[k for k in range(o // h, (o - 1 + b) // h + 1) if (b << (level - 1)) * k < d]
                 for o, b, h, d in zip(origin, blocking, half, dims)]
        for kz in below[2]:
            for ky in below[1]:
                for kx in below[0]:
                    k = (kx, ky, kz)
                    share = [overlap(k[a], origin[a], blocking[a], half[a]) for a in range(3)]
                    into = tuple(slice(s[1], s[1] + s[2]) for s in reversed(share))
                    take = tuple(slice(s[0], s[0] + s[2]) for s in reversed(share))
                    block[into] = halve(self.block(level - 1, k))[take]
        return block
