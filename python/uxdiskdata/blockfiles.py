"""The files of a block set, opened read-only: numbered block data files, the
valid-flag file and, when a write was cut short, the intent record.

File names come from a template: its first "####" (or "-####.dat" appended
when it has none) is replaced by the file number ("0000", "0001", ...), by
"SUPR" for the valid-flag file and by "INTN" for the intent record. Block b
lives in data file b // blocks_per_file at byte (b % blocks_per_file) * block_size.
"""
import os
import stat
from collections import OrderedDict

import numpy as np

from .errors import DiskDataError
from .regularfile import open_regular

MAX_FILE_BYTES = 1 << 30
MAX_FILES = 10000
MAX_BLOCK_BYTES = 1 << 30
MAX_BLOCKS = 2**31 - 1
VALIDS_MAGIC = b"BLCK0001"
INTENT_MAGIC = b"BLCKINT1"
OPEN_FILES = 16
NUMBER_MARK = "####"


def file_template(name):
    return name if NUMBER_MARK in name else name + "-" + NUMBER_MARK + ".dat"


def file_name(template, number):
    """Name of data file `number`, or of the file marked by the four characters given."""
    mark = template.index(NUMBER_MARK)
    text = number if isinstance(number, str) else f"{number:04d}"[:4]
    return template[:mark] + text + template[mark + 4:]


class BlockFiles:
    """Positioned reads of whole blocks, and the valid bitmap, which only ever changes in memory."""

    def __init__(self, template, block_size, num_blocks, description_path):
        self.template = file_template(template)
        self.block_size = block_size
        self.num_blocks = num_blocks
        if block_size > MAX_BLOCK_BYTES:
            raise DiskDataError(description_path, f"a block of {block_size} bytes is larger than 1 GiB")
        if num_blocks > MAX_BLOCKS:
            raise DiskDataError(description_path, f"{num_blocks} blocks are more than a set can hold")
        self.blocks_per_file = MAX_FILE_BYTES // block_size
        self.num_files = -(-num_blocks // self.blocks_per_file)
        if self.num_files > MAX_FILES:
            raise DiskDataError(description_path, f"{self.num_files} block files are more than {MAX_FILES}")
        for number in range(self.num_files):
            self._check_data_file(number)
        self.valids = self._read_valids()
        self._fds = OrderedDict()

    def _check_data_file(self, number):
        name = file_name(self.template, number)
        blocks = min(self.blocks_per_file, self.num_blocks - number * self.blocks_per_file)
        try:
            info = os.stat(name)
        except OSError as error:
            raise DiskDataError(name, f"cannot read the block file ({error.strerror})") from None
        if not stat.S_ISREG(info.st_mode):
            raise DiskDataError(name, "cannot read the block file (not a regular file)")
        size = info.st_size
        if not os.access(name, os.R_OK):
            raise DiskDataError(name, "cannot read the block file (permission denied)")
        if size < blocks * self.block_size:
            raise DiskDataError(name, f"the block file holds {size} bytes, {blocks * self.block_size} needed")

    def _read_valids(self):
        name = file_name(self.template, "SUPR")
        expected = self.num_blocks // 8 + 9
        try:
            with open_regular(name, "valid-flag file") as file:
                content = file.read(expected + 1)
        except OSError as error:
            raise DiskDataError(name, f"cannot read the valid-flag file ({error.strerror})") from None
        if len(content) != expected or not content.startswith(VALIDS_MAGIC):
            raise DiskDataError(name, f"not a valid-flag file of {self.num_blocks} blocks "
                                      f"({expected} bytes starting with {VALIDS_MAGIC.decode()})")
        return np.frombuffer(content[8:], np.uint8).copy()

    def intent_record(self):
        """The level-0 block ranges (x0, x1, y0, y1, z0, z1) of writes that were cut short:
        [] without a record, None when the record is damaged (everything coarse is then out of date).
        A record of more entries than the set has blocks was written by no store: damaged too."""
        name = file_name(self.template, "INTN")
        longest = len(INTENT_MAGIC) + 24 * self.num_blocks
        try:
            with open_regular(name, "intent record") as file:
                content = file.read(longest + 1)
        except FileNotFoundError:
            return []
        except OSError as error:
            raise DiskDataError(name, f"cannot read the intent record ({error.strerror})") from None
        if not content.startswith(INTENT_MAGIC) or len(content) > longest:
            return None
        entries = (len(content) - 8) // 24  # a partial last entry was never acted upon
        return np.frombuffer(content, "<i4", entries * 6, 8).reshape(entries, 6).tolist()

    def is_current(self, number):
        return bool((self.valids[number >> 3] >> (number & 7)) & 1)

    def clear(self, numbers):
        numbers = np.asarray(numbers, np.int64).ravel()
        np.bitwise_and.at(self.valids, numbers >> 3, ~(np.left_shift(1, numbers & 7)).astype(np.uint8))

    def count_current(self, first, count):
        """How many of the blocks first .. first + count - 1 have their flag set."""
        start = first >> 3
        bits = np.unpackbits(self.valids[start:(first + count + 7) // 8], bitorder="little")
        return int(bits[first - 8 * start:first - 8 * start + count].sum())

    def all_current(self, first, count):
        return self.count_current(first, count) == count

    def read(self, first, count=1):
        """The bytes of blocks first .. first + count - 1 as stored, one read per file they lie in."""
        size = self.block_size
        out = np.empty(count * size, np.uint8)
        done = 0
        while done < count:
            file_number, slot = divmod(first + done, self.blocks_per_file)
            blocks = min(count - done, self.blocks_per_file - slot)
            into = memoryview(out)[done * size:(done + blocks) * size]
            if os.preadv(self._fd(file_number), [into], slot * size) != blocks * size:
                raise DiskDataError(file_name(self.template, file_number), f"block {first + done} is cut short")
            done += blocks
        return out

    def _fd(self, number):
        if number in self._fds:
            self._fds.move_to_end(number)
            return self._fds[number]
        if len(self._fds) >= OPEN_FILES:
            os.close(self._fds.popitem(last=False)[1])
        name = file_name(self.template, number)
        try:
            self._fds[number] = os.open(name, os.O_RDONLY | os.O_NONBLOCK)
        except OSError as error:
            raise DiskDataError(name, f"cannot read the block file ({error.strerror})") from None
        return self._fds[number]

    def close(self):
        while self._fds:
            os.close(self._fds.popitem()[1])

    def __del__(self):
        if hasattr(self, "_fds"):
            self.close()
