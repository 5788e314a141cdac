"""A set written as an OME-Zarr 0.4 image: a zarr v2 group with one array per
level ("0", "1", ...), axes z, y, x (components first, as channels, when a
sample has more than one), chunks of up to 128 samples per spatial axis, "/"
between chunk indices, zarr-python's default codec (Blosc, which korin reads),
and multiscales metadata as the strict OME-NGFF 0.4 schema asks for it: per
level a scale of the sample spacing of the bounding box times the level's
factor (2^L, or 1 on an axis of one sample) and a translation to where the
level's first sample lies — the centre of the 2^L level-0 samples it is the
mean of —, "type" "mean", "metadata" and "name".
"""
import numpy as np

CHUNK = 128


def spacing(box, n):
    return (box[1] - box[0]) / (n - 1) if n > 1 else 1.0


def multiscales(dataset, channels):
    box, (nx, ny, nz) = dataset.bounding_box, dataset.lattice.dims
    sizes = [nz, ny, nx]
    space = [spacing(box[4:6], nz), spacing(box[2:4], ny), spacing(box[0:2], nx)]
    origin = [box[4], box[2], box[0]]
    lead = [1.0] if channels else []
    axes = [{"name": "c", "type": "channel"}] if channels else []
    axes += [{"name": name, "type": "space"} for name in "zyx"]
    datasets = []
    for level in range(dataset.levels):
        factors = [2**level if n > 1 else 1 for n in sizes]
        datasets.append({"path": str(level), "coordinateTransformations": [
            {"type": "scale", "scale": lead + [s * f for s, f in zip(space, factors)]},
            {"type": "translation", "translation": [0.0] * len(lead) +
             [o + s * (f - 1) / 2 for o, s, f in zip(origin, space, factors)]}]})
    method = {"method": "uxdiskdata", "description": "each sample of a level is the mean of the 2 x 2 x 2 "
              "samples of the level below it", "kwargs": {"cell": [2, 2, 2]}}
    return [{"version": "0.4", "name": dataset.path, "axes": axes, "datasets": datasets, "type": "mean",
             "metadata": method}]


def export(dataset, out):
    """Writes every level of `dataset` to the zarr group `out`; needs zarr-python."""
    import zarr
    channels = dataset.ndim == 4
    group = zarr.open_group(str(out), mode="w")
    for level in range(dataset.levels):
        view = dataset.level(level)
        spatial = view.shape[:3]
        shape = ((view.shape[3],) if channels else ()) + spatial
        chunks = ((view.shape[3],) if channels else ()) + tuple(min(CHUNK, max(n, 1)) for n in spatial)
        array = group.create_dataset(str(level), shape=shape, chunks=chunks, dtype=view.dtype,
                                     dimension_separator="/")
        for corner in np.ndindex(*(-(-n // CHUNK) for n in spatial)):
            box = tuple(slice(c * CHUNK, (c + 1) * CHUNK) for c in corner)
            samples = view[box]
            if channels:
                array[(slice(None),) + box] = np.moveaxis(samples, -1, 0)
            else:
                array[box] = samples
    group.attrs["multiscales"] = multiscales(dataset, channels)
    return group
