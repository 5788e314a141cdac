"""One level of a set as an array: numpy basic slicing reads only the blocks
the slice touches.

Axes are z, y, x, plus the components when a sample has more than one.
"""
import operator

import numpy as np

ROW_BYTES = 32 << 20  # blocks read at once along x


class SlicedLevel:
    """What every level offers: shape (z, y, x[, components]), dtype, and numpy basic
    slicing. A subclass reads the z, y, x index ranges of all components (_read)."""

    shape = ()
    dtype = None

    @property
    def ndim(self):
        return len(self.shape)

    @property
    def size(self):
        return int(np.prod(self.shape))

    def __len__(self):
        return self.shape[0]

    def __array__(self, dtype=None, copy=None):
        whole = self[...]
        return whole if dtype is None else whole.astype(dtype)

    def __getitem__(self, key):
        axes, final = self._normalise(key)
        box = self._read(axes[:3])
        if len(self.shape) == 3:
            box = box[..., 0]
        result = box[tuple(final)]
        return result.astype(self.dtype, copy=False) if isinstance(result, np.ndarray) else result

    def _normalise(self, key):
        """Per axis the range of indices read, and the key that picks the result from them."""
        key = key if isinstance(key, tuple) else (key,)
        if sum(k is Ellipsis for k in key) > 1:
            raise IndexError("an index can only have a single ellipsis ('...')")
        used = sum(k is not None and k is not Ellipsis for k in key)
        if used > self.ndim:
            raise IndexError(f"too many indices: the array is {self.ndim}-dimensional, but {used} were indexed")
        if not any(k is Ellipsis for k in key):
            key = key + (Ellipsis,)
        axes, final = [], []
        for item in key:
            if item is None:
                final.append(None)
            elif item is Ellipsis:
                for _ in range(self.ndim - used):
                    axes.append(range(self.shape[len(axes)]))
                    final.append(slice(None))
            else:
                axes.append(self._axis_range(item, len(axes), final))
        return axes, final

    def _axis_range(self, item, axis, final):
        size = self.shape[axis]
        if isinstance(item, slice):
            final.append(item if axis == 3 else slice(None))  # components are read whole, picked at the end
            return range(*item.indices(size))
        if isinstance(item, (bool, np.bool_)):
            raise IndexError("only integers, slices (`:`), ellipsis (`...`) and None are valid indices")
        try:
            index = operator.index(item)
        except TypeError:
            raise IndexError("only integers, slices (`:`), ellipsis (`...`) and None are valid indices") from None
        if not -size <= index < size:
            raise IndexError(f"index {index} is out of bounds for axis {axis} with size {size}")
        index %= size
        final.append(index if axis == 3 else 0)
        return range(index, index + 1)

    def _read(self, axes):
        raise NotImplementedError

    def to_dask(self):
        """A lazy dask.array of the level: a task per group of whole blocks or chunks (Debian's python3-dask)."""
        from .daskarray import level_array
        return level_array(self._origin, self.level, self, self._unit)


class LevelView(SlicedLevel):
    """A level of a disk-data set, read block by block."""

    def __init__(self, pyramid, level):
        self._pyramid = pyramid
        self.level = level
        lattice = pyramid.lattice
        self._spatial = tuple(reversed(lattice.level_shape(level)))
        self._blocking = tuple(reversed(lattice.blocking))
        components = pyramid.block_shape[3]
        self.shape = self._spatial + ((components,) if components > 1 else ())
        self.dtype = pyramid.dtype.newbyteorder("=")
        self._unit = self._blocking
        self._origin = None  # the set's description file, given by the set

    def __repr__(self):
        return f"<level {self.level} of a disk-data set: shape {self.shape}, {self.dtype}>"

    def _read(self, axes):
        """The samples of the z, y, x index ranges, all components."""
        pyramid = self._pyramid
        out = np.empty(tuple(len(r) for r in axes) + (pyramid.block_shape[3],), pyramid.dtype)
        if out.size == 0:
            return out
        bz, by, bx = self._blocking
        # Blocks side by side along x are read together, in pieces of a bounded size.
        per_piece = max(1, ROW_BYTES // pyramid.files.block_size)
        xs = axes[2]
        first_block = min(xs[0], xs[-1]) // bx
        last_block = max(xs[0], xs[-1]) // bx
        shifted = range(xs.start - first_block * bx, xs.start - first_block * bx + len(xs) * xs.step, xs.step)
        pieces = list(_runs(shifted, per_piece * bx))
        for kz, oz, lz in _runs(axes[0], bz):
            for ky, oy, ly in _runs(axes[1], by):
                for piece, ox, lx in pieces:
                    first = first_block + piece * per_piece
                    row = pyramid.row(self.level, first, min(first + per_piece - 1, last_block), ky, kz)
                    out[oz, oy, ox] = row[lz, ly, lx]
        return out


def _runs(indices, extent):
    """Split an index range by block: (block, slice of the output, slice in the block)."""
    step, count, m = indices.step, len(indices), 0
    while m < count:
        k = indices[m] // extent
        edge = k * extent if step < 0 else (k + 1) * extent - 1  # last index of the block in walk order
        end = min(count, (edge - indices.start) // step + 1)
        first, last = indices[m] - k * extent, indices[end - 1] - k * extent
        stop = last + (1 if step > 0 else -1)
        yield k, slice(m, end), slice(first, stop if stop >= 0 else None, step)
        m = end
