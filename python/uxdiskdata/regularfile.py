"""Opening files that nobody vouches for: a pipe, a device or a folder in a
file's place is refused without being waited on, and sizes are bounded before
anything is read."""
import os
import stat

from .errors import DiskDataError


def open_regular(path, what):
    """A binary file object of the regular file at `path`; DiskDataError naming
    `what` otherwise. OSError (FileNotFoundError too) passes to the caller."""
    # O_NONBLOCK: opening a pipe for reading would wait for a writer.
    fd = os.open(path, os.O_RDONLY | os.O_NONBLOCK | getattr(os, "O_CLOEXEC", 0))
    try:
        if not stat.S_ISREG(os.fstat(fd).st_mode):
            raise DiskDataError(path, f"cannot read the {what} (not a regular file)")
        os.set_blocking(fd, True)
        return os.fdopen(fd, "rb")
    except BaseException:
        os.close(fd)
        raise


def read_file(path, limit):
    """The bytes of a regular file of at most `limit` bytes; None when there is none."""
    try:
        info = os.stat(path)
    except FileNotFoundError:
        return None
    except OSError as error:
        raise DiskDataError(path, error.strerror) from None
    if not stat.S_ISREG(info.st_mode):
        raise DiskDataError(path, "not a regular file")
    if info.st_size > limit:
        raise DiskDataError(path, f"larger than {limit} bytes")
    with open_regular(path, "file") as file:
        return file.read(limit + 1)
