"""Disk-data sets (blocks on disk with a pyramid of coarser levels) read into numpy.

    import uxdiskdata
    s = uxdiskdata.open("head.km")      # the description file
    coarse = s.level(2)[10:20, :, 5]     # numpy basic slicing at any stored level
"""
from .dataset import DiskDataSet
from .errors import DiskDataError

__all__ = ["open", "DiskDataSet", "DiskDataError"]


def open(path):  # noqa: A001 - the name users expect
    """Opens the set described by the description file `path` for reading."""
    return DiskDataSet(path)
