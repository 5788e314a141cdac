"""Levels, blocks and block numbers of a lattice cut into blocks.

Level L holds the lattice reduced by 2^L on every axis; a level-L block of
bx*by*bz samples covers bx*2^L x by*2^L x bz*2^L level-0 samples. The blocks
of all levels share one numbering: level 0 first, then level 1, ..., x fastest
within a level. Axes are given in x, y, z order throughout this module.
"""


class Lattice:
    def __init__(self, dims, blocking):
        self.dims = tuple(dims)
        self.blocking = tuple(blocking)
        self.num_levels, self.num_blocks = self._count_levels()
        self._offsets = [0]
        for level in range(self.num_levels + 1):
            self._offsets.append(self._offsets[-1] + self.blocks_at(level))

    def blocks_along(self, axis, level):
        span = self.blocking[axis] << level
        return (self.dims[axis] - 1 + span) // span

    def blocks_at(self, level):
        return self.blocks_along(0, level) * self.blocks_along(1, level) * self.blocks_along(2, level)

    def _count_levels(self):
        # Levels go on until one block spans at least twice the lattice on every
        # axis, or until a block halved once more would be one sample thick.
        # The count of blocks includes level num_levels, for which the files keep room.
        blocks, level = 0, -1
        while True:
            level += 1
            blocks += self.blocks_at(level)
            spans_all = all((b << level) >= 2 * d for b, d in zip(self.blocking, self.dims))
            too_thin = any((b >> level) <= 1 for b in self.blocking)
            if spans_all or too_thin:
                return level, blocks

    @property
    def levels(self):
        """Levels a reader can ask for: those in use, and level 0 always."""
        return max(self.num_levels, 1)

    def level_shape(self, level):
        """Samples along x, y, z at that level."""
        return tuple((d + (1 << level) - 1) >> level for d in self.dims)

    def first_block(self, level):
        return self._offsets[level]

    def block_number(self, index, level):
        nx, ny = self.blocks_along(0, level), self.blocks_along(1, level)
        return self._offsets[level] + index[0] + (ny * index[2] + index[1]) * nx


def overlap(k, origin, size, extent):
    """How block k (of `extent` samples) shares samples with the box [origin, origin + size) on one axis.

    Returns (offset in the block, offset in the box, count).
    """
    start = extent * k - origin
    if start < 0:
        return -start, 0, min(extent + start, size)
    return 0, start, min(extent, size - start)
