"""zarr-python's side of the lda benchmark: level 0 alone, 128^3 chunks, the same
codec at the level the host's codec writes (zstd 3, lz4 acceleration 1).
    python3 zarr_write.py RAW OUTPUT CODEC X Y Z"""
import sys

import numcodecs
import numpy as np
import zarr

raw, output, codec, nx, ny, nz = sys.argv[1], sys.argv[2], sys.argv[3], *map(int, sys.argv[4:7])
compressor = {"zstd": numcodecs.Zstd(level=3), "lz4": numcodecs.LZ4(acceleration=1)}[codec]
volume = np.memmap(raw, dtype="<u2", mode="r", shape=(nz, ny, nx))
array = zarr.open(output, mode="w", shape=volume.shape, chunks=(128, 128, 128), dtype="<u2",
                  compressor=compressor, dimension_separator="/")
array[:] = volume
