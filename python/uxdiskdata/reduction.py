"""The store's reduction of a block by 2 on every axis, bit for bit.

Every output component is the mean of the 2x2x2 input samples it covers;
trailing samples of an odd extent are dropped. Integers are summed exactly and
rounded to nearest, ties to even. Floats and doubles are summed in double
precision in the host's order: per output x, the four rows (y, z), (y+1, z),
(y, z+1), (y+1, z+1) of each of the two input columns, then the two columns;
the sum is scaled by 1/8 and rounded to the element type. Samples with more
than 256 components are summed in another order, row by row, as the host does
for them.
"""
import numpy as np

WIDE_COMPONENTS = 256


def halve(block):
    """block: (z, y, x, components) -> (z//2, y//2, x//2, components), same type."""
    nz, ny, nx = (n // 2 * 2 for n in block.shape[:3])
    block = block[:nz, :ny, :nx]
    if block.dtype.kind == "f":
        total = _float_sum(block) if block.shape[3] <= WIDE_COMPONENTS else _wide_float_sum(block)
        return (total * 0.125).astype(block.dtype)
    total = _rows(block, np.int64)
    total = total[:, :, 0::2] + total[:, :, 1::2]
    return ((total + 3 + ((total >> 3) & 1)) >> 3).astype(block.dtype)


def _rows(block, wide):
    """Per input x, the sum of the four rows (y, z), (y+1, z), (y, z+1), (y+1, z+1)."""
    rows = [block[dz::2, dy::2].astype(wide) for dz in (0, 1) for dy in (0, 1)]
    return ((rows[0] + rows[1]) + rows[2]) + rows[3]


def _float_sum(block):
    total = _rows(block, np.float64)
    return total[:, :, 0::2] + total[:, :, 1::2]


def _wide_float_sum(block):
    total = np.zeros(block[0::2, 0::2, 0::2].shape, np.float64)
    for dz in (0, 1):
        for dy in (0, 1):
            row = block[dz::2, dy::2].astype(np.float64)
            total = total + ((0.0 + row[:, :, 0::2]) + row[:, :, 1::2])
    return total
