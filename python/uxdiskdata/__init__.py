"""Disk-data sets (blocks on disk with a pyramid of coarser levels) and lda stores
(OME-Zarr images) read into numpy.

    import uxdiskdata
    s = uxdiskdata.open("head.km")      # the description file, or a store's folder
    coarse = s.level(2)[10:20, :, 5]     # numpy basic slicing at any stored level
"""
import os

from .dataset import DiskDataSet
from .errors import DiskDataError
from .ldaset import LdaSet

__all__ = ["open", "DiskDataSet", "LdaSet", "DiskDataError"]


def open(path):  # noqa: A001 - the name users expect
    """Opens the set described by the description file `path`, or the store in the folder `path`."""
    if os.path.isdir(path):
        return LdaSet(str(path))
    return DiskDataSet(path)
