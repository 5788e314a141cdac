"""A set written as an OME-Zarr 0.4 image: a zarr v2 group with one array per
level ("0", "1", ...), axes z, y, x (components first, as channels, when a
sample has more than one), chunks of up to 128 samples per spatial axis, "/"
between chunk indices, and multiscales metadata whose scale at level L is the
sample spacing of the bounding box times 2^L and whose translation is the
box minimum.
"""
import numpy as np

CHUNK = 128


def spacing(box, n):
    return (box[1] - box[0]) / (n - 1) if n > 1 else 1.0


def multiscales(dataset, channels):
    box, (nx, ny, nz) = dataset.bounding_box, dataset.lattice.dims
    space = [spacing(box[4:6], nz), spacing(box[2:4], ny), spacing(box[0:2], nx)]
    origin = [box[4], box[2], box[0]]
    lead = [1.0] if channels else []
    axes = [{"name": "c", "type": "channel"}] if channels else []
    axes += [{"name": name, "type": "space"} for name in "zyx"]
    datasets = [{"path": str(level), "coordinateTransformations": [
        {"type": "scale", "scale": lead + [s * 2**level for s in space]},
        {"type": "translation", "translation": [0.0] * len(lead) + origin}]}
        for level in range(dataset.levels)]
    return [{"version": "0.4", "name": dataset.path, "axes": axes, "datasets": datasets}]


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
