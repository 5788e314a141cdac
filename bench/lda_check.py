"""The large lda benchmark's input and its check by zarr-python.
    python3 lda_check.py make RAW TYPE X Y Z          a sparse raw volume with patterned regions
    python3 lda_check.py check RAW TYPE X Y Z STORE   every level against the raw file, in sampled boxes
The check reads boxes of every level with zarr-python and compares them with
the reduction (2 x 2 x 2 means, rounded half to even, fewer samples at odd
edges) of the raw samples under them, in the patterned regions and at random
places, and prints how many boxes it compared."""
import sys

import numpy as np
import zarr

PATTERNS = [(0.1, 0.2, 0.3, 300), (0.5, 0.5, 0.5, 700), (0.9, 0.95, 0.97, 150)]  # centre (fractions), edge


def pattern_boxes(shape):
    z, y, x = shape
    for fz, fy, fx, edge in PATTERNS:
        lo = [min(int(f * n), max(n - edge, 0)) for f, n in zip((fz, fy, fx), shape)]
        yield tuple(slice(a, min(a + edge, n)) for a, n in zip(lo, shape))


def make(raw, dtype, shape):
    volume = np.memmap(raw, dtype=dtype, mode="w+", shape=shape)
    rng = np.random.default_rng(5)
    info = np.iinfo(dtype)
    for box in pattern_boxes(shape):
        part = volume[box]
        part[...] = rng.integers(info.min, info.max, size=part.shape, endpoint=True).astype(dtype)
    volume.flush()


def reduced(v):
    pad = [(0, n % 2) for n in v.shape]
    cells = lambda a: a.reshape(sum(((n // 2, 2) for n in a.shape), ())).sum(axis=(1, 3, 5))
    total = cells(np.pad(v.astype(np.int64), pad))
    count = cells(np.pad(np.ones(v.shape, np.int64), pad))
    q, r = np.divmod(total, count)
    return (q + ((2 * r > count) | ((2 * r == count) & (q % 2 == 1)))).astype(v.dtype)


def check(raw, dtype, shape, store):
    volume = np.memmap(raw, dtype=dtype, mode="r", shape=shape)
    group = zarr.open_group(store, mode="r")
    levels = len(group.attrs["multiscales"][0]["datasets"])
    rng = np.random.default_rng(9)
    compared = 0
    for level in range(levels):
        array = group[str(level)]
        edge = 24 if level else 64
        starts = [tuple(b.start >> level for b in box) for box in pattern_boxes(shape)]
        starts += [tuple(int(rng.integers(0, max(n - edge, 0) + 1)) for n in array.shape) for _ in range(4)]
        for start in starts:
            box = tuple(slice(a, min(a + edge, n)) for a, n in zip(start, array.shape))
            source = tuple(slice(b.start << level, min(b.stop << level, n)) for b, n in zip(box, shape))
            want = np.asarray(volume[source])
            for _ in range(level):
                want = reduced(want)
            got = array[box]
            if not np.array_equal(got, want):
                print(f"DIFFERS at level {level}, box {box}")
                sys.exit(1)
            compared += 1
    print(f"zarr-python reads it exactly ({compared} boxes over {levels} levels)")


if __name__ == "__main__":
    command, raw, dtype = sys.argv[1], sys.argv[2], np.dtype(sys.argv[3]).newbyteorder("<")
    shape = tuple(int(n) for n in reversed(sys.argv[4:7]))
    make(raw, dtype, shape) if command == "make" else check(raw, dtype, shape, sys.argv[7])
