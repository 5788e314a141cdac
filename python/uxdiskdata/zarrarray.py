"""One Zarr array of an OME-Zarr image, read with numpy and numcodecs: version 2
(".zarray") or 3 ("zarr.json"), chunks in files of their own or in shards.

Metadata and chunks are untrusted: a file that is not a regular file is refused
without opening it, metadata above 16 MiB, a chunk above 512 MiB decoded or larger
than its codecs could have made it, a shard index that fails its CRC-32C, and any
value of the wrong kind raise DiskDataError naming the file.
"""
import json
import math
import os
import stat

import numpy as np

from .errors import DiskDataError
from .regularfile import read_file

METADATA_LIMIT = 16 << 20
CHUNK_LIMIT = 512 << 20
EMPTY = 2**64 - 1
V3_TYPES = {"bool": "|b1", "uint8": "|u1", "int8": "|i1", "uint16": "u2", "int16": "i2", "uint32": "u4",
            "int32": "i4", "float32": "f4", "float64": "f8"}
CODEC_NAMES = {"zstd": "zstd", "numcodecs.zstd": "zstd", "blosc": "blosc", "numcodecs.blosc": "blosc",
               "gzip": "gzip", "numcodecs.gzip": "gzip", "zlib": "zlib", "numcodecs.zlib": "zlib",
               "lz4": "lz4", "numcodecs.lz4": "lz4"}


def read_json(path):
    data = read_file(path, METADATA_LIMIT)
    if data is None:
        raise DiskDataError(path, "missing")
    try:
        value = json.loads(data)
    except (ValueError, RecursionError):
        raise DiskDataError(path, "not valid JSON") from None
    if not isinstance(value, dict):
        raise DiskDataError(path, "not a JSON object")
    return value


def counts(value, rank, least, path, what):
    if not (isinstance(value, list) and len(value) == rank and
            all(isinstance(v, int) and not isinstance(v, bool) and least <= v < 2**31 for v in value)):
        raise DiskDataError(path, f"its {what} are not {rank} counts")
    return tuple(value)


def crc32c(data):
    table = _crc_table()
    crc = 0xFFFFFFFF
    for byte in data:
        crc = table[(crc ^ byte) & 0xFF] ^ (crc >> 8)
    return crc ^ 0xFFFFFFFF


def _crc_table(table=[]):  # noqa: B006 - made once
    if not table:
        for i in range(256):
            value = i
            for _ in range(8):
                value = (value >> 1) ^ (0x82F63B78 & -(value & 1))
            table.append(value)
    return table


class Codecs:
    """The byte-to-byte codecs of a chunk: one compressor at most, and crc32c checksums after it."""

    def __init__(self, path):
        self.path, self.codec, self.checksums = path, None, 0

    def choose(self, name, configuration):
        import numcodecs
        kind = CODEC_NAMES.get(name)
        if kind is None:
            raise DiskDataError(self.path, f'compressor "{name}" is not supported (zstd, blosc, gzip, zlib, lz4 or none)')
        if self.codec is not None or self.checksums:
            raise DiskDataError(self.path, "more than one compressor is not supported")
        self.codec = {"zstd": numcodecs.Zstd, "blosc": numcodecs.Blosc, "gzip": numcodecs.GZip,
                      "zlib": numcodecs.Zlib, "lz4": numcodecs.LZ4}[kind]()

    def decode(self, data, size):
        for _ in range(self.checksums):  # a checksum covers what came before it
            data = data[:-4]
        if self.codec is None:
            return data
        if isinstance(self.codec, __import__("numcodecs").Zstd):
            return self.codec.decode(data, out=bytearray(size))  # frames need not record their size
        return self.codec.decode(data)

    def largest(self, size):
        return (size if self.codec is None else size + size // 16 + 65536) + 4 * self.checksums


class ZarrArray:
    """shape and chunks in the array's own axis order; read(box) gives a box of
    slices (start, stop) per axis, missing chunks as the fill value."""

    def __init__(self, folder, version):
        self.folder = folder
        self.sharded = False
        (self._version3 if version == 3 else self._version2)()
        size = np.dtype(self.dtype).itemsize
        self.chunk_bytes = int(np.prod(self.chunks)) * size
        if self.chunk_bytes > CHUNK_LIMIT:
            raise DiskDataError(self.meta_path, f"its chunks are larger than {CHUNK_LIMIT >> 20} MiB")
        self._shard_cache = (None, None)

    def _version2(self):
        path = self.meta_path = os.path.join(self.folder, ".zarray")
        meta = read_json(path)
        if meta.get("zarr_format") != 2:
            raise DiskDataError(path, "not a Zarr version 2 array")
        self.shape = counts(meta.get("shape"), len(meta.get("shape") or []), 0, path, "shape")
        self.chunks = counts(meta.get("chunks"), len(self.shape), 1, path, "chunks")
        dtype = meta.get("dtype")
        if not isinstance(dtype, str) or dtype[1:] not in V3_TYPES.values() and dtype not in V3_TYPES.values():
            raise DiskDataError(path, f"dtype {dtype!r} is not supported")
        self.dtype = np.dtype(dtype)
        if meta.get("order") != "C" or meta.get("filters") not in (None, []):
            raise DiskDataError(path, "only C order without filters is supported")
        self.codecs = Codecs(path)
        compressor = meta.get("compressor")
        if compressor is not None:
            if not isinstance(compressor, dict) or not isinstance(compressor.get("id"), str):
                raise DiskDataError(path, "its compressor entry names no codec")
            self.codecs.choose(compressor["id"], compressor)
        separator = meta.get("dimension_separator", ".")
        if separator not in ("/", "."):
            raise DiskDataError(path, 'dimension_separator must be "/" or "."')
        self.prefix, self.separator = "", separator
        self.fill = self._fill(meta.get("fill_value"))

    def _version3(self):
        path = self.meta_path = os.path.join(self.folder, "zarr.json")
        meta = read_json(path)
        if meta.get("zarr_format") != 3 or meta.get("node_type") != "array":
            raise DiskDataError(path, "not a Zarr version 3 array")
        self.shape = counts(meta.get("shape"), len(meta.get("shape") or []), 0, path, "shape")
        grid = meta.get("chunk_grid") or {}
        self.chunks = counts((grid.get("configuration") or {}).get("chunk_shape"), len(self.shape), 1, path, "chunks")
        encoding = meta.get("chunk_key_encoding") or {"name": "default"}
        separator = (encoding.get("configuration") or {}).get("separator", "/" if encoding.get("name") == "default" else ".")
        if encoding.get("name") not in ("default", "v2") or separator not in ("/", "."):
            raise DiskDataError(path, "chunk_key_encoding is not one this reader knows")
        self.prefix = "c" + separator if encoding.get("name") == "default" else ""
        self.separator = separator
        codecs = meta.get("codecs")
        if isinstance(codecs, list) and len(codecs) == 1 and codecs[0].get("name") == "sharding_indexed":
            self._sharding(codecs[0].get("configuration") or {}, path)
            codecs = (codecs[0].get("configuration") or {}).get("codecs")
        endian = self._codec_list(codecs, path)
        data_type = meta.get("data_type")
        if data_type not in V3_TYPES:
            raise DiskDataError(path, f"data_type {data_type!r} is not supported")
        code = V3_TYPES[data_type]
        self.dtype = np.dtype(code if code[0] == "|" else ("<" if endian == "little" else ">") + code)
        self.fill = self._fill(meta.get("fill_value"))

    def _codec_list(self, codecs, path):
        if not isinstance(codecs, list) or not codecs or codecs[0].get("name") != "bytes":
            raise DiskDataError(path, 'its codecs do not start with "bytes"')
        self.codecs = Codecs(path)
        for codec in codecs[1:]:
            name = codec.get("name") if isinstance(codec, dict) else None
            if name == "crc32c":
                self.codecs.checksums += 1
            else:
                self.codecs.choose(name, codec.get("configuration") or {})
        return (codecs[0].get("configuration") or {}).get("endian", "little")

    def _sharding(self, configuration, path):
        inner = counts(configuration.get("chunk_shape"), len(self.chunks), 1, path, "inner chunks")
        if any(s % c for s, c in zip(self.chunks, inner)):
            raise DiskDataError(path, "its shards are not whole multiples of their chunks")
        self.shard_chunks = tuple(s // c for s, c in zip(self.chunks, inner))
        if math.prod(self.shard_chunks) > 2**20:
            raise DiskDataError(path, "its shards hold more than 2^20 chunks")
        index = configuration.get("index_codecs") or [{"name": "bytes"}]
        self.index_checksums = sum(c.get("name") == "crc32c" for c in index)
        self.index_at_end = configuration.get("index_location", "end") != "start"
        self.chunks, self.sharded = inner, True

    def _fill(self, value):
        if value is None or (isinstance(value, str) and self.dtype.kind != "f"):
            return 0
        return {"NaN": np.nan, "Infinity": np.inf, "-Infinity": -np.inf}.get(value, value)

    def _key(self, index):
        return os.path.join(self.folder, self.prefix + self.separator.join(str(i) for i in index))

    def _stored(self, index):
        """The stored bytes of a chunk, or None when it is missing."""
        if not self.sharded:
            return read_file(self._key(index), self.codecs.largest(self.chunk_bytes))
        shard = tuple(i // n for i, n in zip(index, self.shard_chunks))
        path = self._key(shard)
        if self._shard_cache[0] != path:
            self._shard_cache = (path, self._read_index(path))
        entries = self._shard_cache[1]
        if entries is None:
            return None
        place = np.ravel_multi_index(tuple(i % n for i, n in zip(index, self.shard_chunks)), self.shard_chunks)
        offset, length = int(entries[2 * place]), int(entries[2 * place + 1])
        if offset == EMPTY and length == EMPTY:
            return None
        if length > self.codecs.largest(self.chunk_bytes) or offset + length > os.stat(path).st_size:
            raise DiskDataError(path, f"chunk {place} points outside the shard")
        with open(path, "rb") as file:
            file.seek(offset)
            return file.read(length)

    def _read_index(self, path):
        count = math.prod(self.shard_chunks)
        size = count * 16 + 4 * self.index_checksums
        try:
            info = os.stat(path)
        except FileNotFoundError:
            return None
        if not stat.S_ISREG(info.st_mode) or info.st_size < size:
            raise DiskDataError(path, f"not a shard with an index of {size} bytes")
        with open(path, "rb") as file:
            file.seek(info.st_size - size if self.index_at_end else 0)
            index = file.read(size)
        for _ in range(self.index_checksums):
            body, crc = index[:-4], int.from_bytes(index[-4:], "little")
            if crc32c(body) != crc:
                raise DiskDataError(path, "its index fails its checksum")
            index = body
        return np.frombuffer(index, "<u8")

    def chunk(self, index):
        stored = self._stored(index)
        if stored is None:
            return None
        try:
            decoded = self.codecs.decode(stored, self.chunk_bytes)
        except Exception:
            raise DiskDataError(self._key(index), "cannot be decoded") from None
        if len(decoded) != self.chunk_bytes:
            raise DiskDataError(self._key(index), f"decodes to {len(decoded)} bytes, not {self.chunk_bytes}")
        return np.frombuffer(decoded, self.dtype).reshape(self.chunks)

    def read(self, box):
        """The samples of box (a (start, stop) per axis, inside the array), machine byte order."""
        out = np.full(tuple(b - a for a, b in box), self.fill, self.dtype.newbyteorder("="))
        ranges = [range(a // c, (b - 1) // c + 1) if b > a else range(0) for (a, b), c in zip(box, self.chunks)]
        for index in np.ndindex(*(len(r) for r in ranges)):
            chunk_index = tuple(r[i] for r, i in zip(ranges, index))
            chunk = self.chunk(chunk_index)
            if chunk is None:
                continue
            lo = [max(a, i * c) for (a, _), i, c in zip(box, chunk_index, self.chunks)]
            hi = [min(b, (i + 1) * c, n) for (_, b), i, c, n in zip(box, chunk_index, self.chunks, self.shape)]
            source = tuple(slice(l - i * c, h - i * c) for l, h, i, c in zip(lo, hi, chunk_index, self.chunks))
            target = tuple(slice(l - a, h - a) for l, h, (a, _) in zip(lo, hi, box))
            out[target] = chunk[source]
        return out
