"""What the lda tests share: korin scripts that convert and read back, the
reduction the levels are built by, and the check of a store by zarr-python."""
import numpy as np
import zarr

CONVERT = """
set files [lassign $argv out format tile codec sampling]
set c [create UxConvertToDiskData]
puts "result [$c convertToDiskData -format $format -lda $out -tilesize $tile -bordersize 3 \\
    -compressor $codec -s $sampling {*}$files]"
"""

READ = """
lassign $argv store out
set d [load $store]
puts "shape [$d getDims] [$d getPrimType] [$d getNDataVar] box [$d getBoundingBox]"
foreach s {1 2 4} {
  set n {}
  foreach v [$d getDims] { lappend n [expr {($v + $s - 1) / $s}] }
  $d readBox $out.$s 0 0 0 {*}$n $s $s $s
}
"""


def halved(v, axes, sharp=False):
    """v halved along the trailing axes named (-3 z, -2 y, -1 x): cells of 2 samples
    on those axes, fewer at odd edges; the mean rounded half to even, or the first sample."""
    if sharp:
        return v[tuple(slice(None, None, 2) if a - v.ndim in axes else slice(None) for a in range(v.ndim))]
    pad = [(0, v.shape[a] % 2 if a - v.ndim in axes else 0) for a in range(v.ndim)]
    shape = sum(((v.shape[a] // 2 + v.shape[a] % 2, 2) if a - v.ndim in axes else (v.shape[a], 1)
                 for a in range(v.ndim)), ())
    cells = lambda a: np.pad(a, pad).reshape(shape).sum(axis=tuple(range(1, 2 * v.ndim, 2)))
    total = cells(v.astype(np.float64 if v.dtype.kind == "f" else np.int64))
    count = cells(np.ones(v.shape, np.int64))
    if v.dtype.kind == "f":
        return (total / count).astype(v.dtype)
    q, r = np.divmod(total, count)
    return (q + ((2 * r > count) | ((2 * r == count) & (q % 2 == 1)))).astype(v.dtype)


def reduced(v, sharp):
    """The next level of v (axes [c,] z, y, x): 2x2x2 cells, fewer at odd edges."""
    return halved(v, (-3, -2, -1), sharp)


def levels_of(volume, tile, sharp):
    """Every level the store must hold, level 0 first."""
    levels = [volume]
    while max(levels[-1].shape[-3:]) > tile:
        levels.append(reduced(levels[-1], sharp))
    return levels


def expect_store(path, volume, tile, sharp=False):
    group = zarr.open_group(str(path), mode="r")
    datasets = group.attrs["multiscales"][0]["datasets"]
    want = levels_of(volume, tile, sharp)
    assert [d["path"] for d in datasets] == [str(i) for i in range(len(want))]
    for level, expected in zip(group.attrs["multiscales"][0]["datasets"], want):
        array = group[level["path"]]
        assert array.chunks[-3:] == tuple(min(tile, n) for n in expected.shape[-3:])
        np.testing.assert_array_equal(array[:], expected, err_msg=f"level {level['path']}")


def volume_of(dtype, shape, seed=3):
    rng = np.random.default_rng(seed)
    if np.dtype(dtype).kind == "f":
        return (rng.standard_normal(shape) * 1000).astype(dtype)
    info = np.iinfo(dtype)
    return rng.integers(info.min, info.max, size=shape, endpoint=True).astype(dtype)


