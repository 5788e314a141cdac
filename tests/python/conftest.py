"""Shared fixtures: the korin shell of the build under test, run as a child process; a TIFF writer."""
import os
import struct
import subprocess
from pathlib import Path

import pytest

BUILD_DIR = Path(os.environ.get("KORIN_BUILD_DIR", Path(__file__).resolve().parents[2] / "build"))


@pytest.fixture
def korin(tmp_path):
    """Runs a Tcl script in korin: korin(script, *args) -> CompletedProcess (text)."""
    env = dict(os.environ, QT_QPA_PLATFORM="offscreen")

    def run(script, *args, check=True):
        path = tmp_path / "script.tcl"
        path.write_text(script)
        done = subprocess.run([str(BUILD_DIR / "korin"), str(path), *map(str, args)],
                              capture_output=True, text=True, env=env, timeout=600)
        if check and done.returncode != 0:
            raise AssertionError(f"korin failed ({done.returncode}):\n{done.stdout}\n{done.stderr}")
        return done

    return run


def multipage_tiff(path, pages):
    """An uncompressed little-endian TIFF, one page (IFD) per slice: grey (z, y, x) or RGB (z, y, x, 3)."""
    height, width = pages.shape[1:3]
    channels = pages.shape[3] if pages.ndim == 4 else 1
    out, link = bytearray(b"II*\0\0\0\0\0"), 4
    for page in pages:
        strip = len(out)
        out += page.astype(page.dtype.newbyteorder("<")).tobytes() + b"\0" * (page.nbytes % 2)
        bits = len(out)
        out += struct.pack("<" + "H" * channels, *[page.itemsize * 8] * channels) + b"\0" * (channels % 2 * 2)
        out[link:link + 4] = struct.pack("<I", len(out))
        bits_value = (3, channels, bits if channels > 2 else page.itemsize * 8)
        tags = [(256, 4, 1, width), (257, 4, 1, height), (258,) + bits_value, (259, 3, 1, 1),
                (262, 3, 1, 2 if channels == 3 else 1), (273, 4, 1, strip), (277, 3, 1, channels),
                (278, 4, 1, height), (279, 4, 1, page.nbytes), (284, 3, 1, 1)]
        out += struct.pack("<H", len(tags))
        for tag, kind, count, value in tags:
            out += struct.pack("<HHII", tag, kind, count, value)
        link = len(out)
        out += b"\0\0\0\0"
    path.write_bytes(bytes(out))
