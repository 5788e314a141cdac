"""lda stores: korin's tiled conversions read back by zarr-python at every level, and
OME-Zarr images written by zarr-python read back by korin."""
import json
import re
import shutil
import struct
import subprocess
import zlib

import numcodecs
import numpy as np
import pytest
import zarr

from conftest import multipage_tiff
from lda_support import CONVERT, READ, expect_store, levels_of, reduced, volume_of

RAW_CASES = [  # codec, type, x y z, components, tile, sampling, header, byte order, one file per slice
    ("zstd", "uint16", (70, 45, 37), 1, 32, 1, 0, "little", False),
    ("lz4", "int16", (33, 65, 9), 1, 32, 1, 16, "big", False),
    ("zlib", "float", (40, 9, 35), 1, 32, 1, 0, "little", True),
    ("none", "int32", (17, 40, 33), 3, 9, 1, 7, "big", True),
    ("zstd", "uint8", (64, 64, 40), 2, 16, 0, 5, "little", False),
]


@pytest.mark.parametrize("codec,ptype,dims,nc,tile,sampling,header,order,per_slice", RAW_CASES)
def test_raw_volume_reads_back_at_every_level(korin, tmp_path, codec, ptype, dims, nc, tile,
                                              sampling, header, order, per_slice):
    dtype = np.dtype({"float": "float32"}.get(ptype, ptype))
    x, y, z = dims
    volume = volume_of(dtype, (z, y, x, nc))
    data = volume.astype(dtype.newbyteorder(">" if order == "big" else "<"))
    slices = [data[i] for i in range(z)] if per_slice else [data]
    files = []
    for i, part in enumerate(slices):
        files.append(tmp_path / f"in{i}.raw")
        files[-1].write_bytes(b"\x5a" * header + part.tobytes())
    words = ["-dims", x, y, z, "-ptype", ptype, "-ndatavar", nc, "-header", header,
             "-endianess", order, "-bbox", 0, 6.9, 0, 300, -1, 1] + files
    done = korin(CONVERT, tmp_path / "vol", "Raw Data", tile, codec, sampling, *words)
    assert "result 1" in done.stdout, done.stdout
    expect_store(tmp_path / "vol.lda", np.moveaxis(volume, 3, 0) if nc > 1 else volume[..., 0],
                 tile, sharp=sampling == 0)

    attrs = zarr.open_group(str(tmp_path / "vol.lda"), mode="r").attrs.asdict()
    own = attrs["uxdiskdata"]
    assert (own["tileSize"], own["borderSize"], own["samplingType"]) == (
        tile, 3, ["Sharp", "Average"][sampling])
    assert own["source"]["box"] == [0, 6.9, 0, 300, -1, 1]
    first = attrs["multiscales"][0]["datasets"][1]["coordinateTransformations"]
    assert first[0]["scale"][-3:] == pytest.approx([4 / (z - 1), 600 / (y - 1), 13.8 / (x - 1)])
    shift = 0.5 if sampling == 1 else 0  # an averaged sample lies at the centre of its cell
    assert first[1]["translation"][-3:] == pytest.approx(
        [-1 + shift * 2 / (z - 1), shift * 300 / (y - 1), shift * 6.9 / (x - 1)], rel=1e-6)

    read = korin(READ, tmp_path / "vol.lda", tmp_path / "box")
    assert f"shape {x} {y} {z} {ptype} {nc} box 0 6.9 0 300 -1 1" in read.stdout
    levels = levels_of(volume.transpose(3, 0, 1, 2), tile, sampling == 0)
    for s, level in zip((1, 2, 4), levels):  # stored levels only
        back = np.fromfile(tmp_path / f"box.{s}", dtype).reshape(level.shape[1:] + (nc,))
        np.testing.assert_array_equal(back, np.moveaxis(level, 0, 3), err_msg=f"subsampling {s}")


def png(path, image):
    """A grey (2-D) or RGB (3-D) PNG of 8- or 16-bit samples, no filtering."""
    height, width = image.shape[:2]
    colour = 2 if image.ndim == 3 else 0
    rows = image.astype(image.dtype.newbyteorder(">")).reshape(height, -1)
    raw = b"".join(b"\0" + row.tobytes() for row in rows)
    chunk = lambda kind, body: (struct.pack(">I", len(body)) + kind + body +
                                struct.pack(">I", zlib.crc32(kind + body)))
    path.write_bytes(b"\x89PNG\r\n\x1a\n" +
                     chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, image.itemsize * 8,
                                                colour, 0, 0, 0)) +
                     chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b""))


IMAGE_CASES = [  # codec, tile, file kind, stack (z, y, x[, rgb]) and type, channel option
    ("zstd", 32, "png", (5, 70, 41), "uint16", 2),
    ("lz4", 16, "png", (4, 19, 23, 3), "uint8", 0),
    ("zlib", 32, "tiff", (37, 33, 20), "uint16", 2),
    ("none", 16, "tiff", (18, 17, 9), "uint8", 2),
]


@pytest.mark.parametrize("codec,tile,kind,shape,ptype,channel", IMAGE_CASES)
def test_image_stack_reads_back_at_every_level(korin, tmp_path, codec, tile, kind, shape, ptype,
                                               channel):
    stack = volume_of(np.dtype(ptype), shape, seed=5)
    if kind == "tiff":
        files = [tmp_path / "stack.tif"]
        multipage_tiff(files[0], stack)
        words = files  # a single file describes itself
    else:
        files = [tmp_path / f"img{i}.png" for i in range(len(stack))]
        for path, image in zip(files, stack):
            png(path, image)
        words = ["-bbox", 0, 1, 0, 1, 0, 1, "-channel", channel] + files
    done = korin(CONVERT, tmp_path / "img", kind.upper(), tile, codec, 1, *words)
    assert "result 1" in done.stdout, done.stdout
    expect_store(tmp_path / "img.lda", stack.max(axis=3) if stack.ndim == 4 else stack, tile)


def test_store_written_by_zarr_python_reads_back_exactly(korin, tmp_path):
    volume = volume_of(np.dtype(">i2"), (3, 11, 20, 29), seed=9)
    group = zarr.open_group(str(tmp_path / "other.zarr"), mode="w")
    compressors = [numcodecs.Zlib(level=4), numcodecs.LZ4(), None]
    for level, compressor in enumerate(compressors):
        data = volume[:, ::2 ** level, ::2 ** level, ::2 ** level]
        group.create_dataset(str(level), data=data, chunks=(2, 4, 7, 6), compressor=compressor,
                             dimension_separator=".", fill_value=0)
    group.attrs["multiscales"] = [{
        "version": "0.4",
        "axes": [{"name": "c", "type": "channel"}] + [{"name": a, "type": "space"} for a in "zyx"],
        "datasets": [{"path": str(level), "coordinateTransformations": [
            {"type": "scale", "scale": [1, 0.5 * 2 ** level, 2 ** level, 2 ** level]},
            {"type": "translation", "translation": [0, 10, -4, 2]}]} for level in range(3)]}]
    done = korin(READ, tmp_path / "other.zarr", tmp_path / "box")
    assert "shape 29 20 11 int16 3 box 2 30 -4 15 10 15" in done.stdout, done.stdout
    for s in (1, 2, 4):
        want = volume[:, ::s, ::s, ::s].transpose(1, 2, 3, 0).astype("<i2")
        back = np.fromfile(tmp_path / f"box.{s}", "<i2").reshape(want.shape)
        np.testing.assert_array_equal(back, want, err_msg=f"subsampling {s}")


@pytest.mark.parametrize("compressor,attrs,why", [
    (numcodecs.BZ2(), {}, 'compressor "bz2" is not supported'),
    (None, {"multiscales": [{"version": "0.3", "axes": [], "datasets": []}]}, "is not 0.4"),
    (None, {"other": 1}, "holds no multiscales entry"),
    (None, "zarr.json", "zarr.json holds no multiscales entry"),
])
def test_other_images_are_refused_with_the_reason(korin, tmp_path, compressor, attrs, why):
    group = zarr.open_group(str(tmp_path / "other.zarr"), mode="w")
    group.create_dataset("0", data=np.zeros((4, 4, 4), "u1"), compressor=compressor)
    if attrs == "zarr.json":
        (tmp_path / "other.zarr" / "zarr.json").write_text('{"zarr_format": 3, "node_type": "group"}')
    group.attrs.update(attrs if isinstance(attrs, dict) and attrs else {"multiscales": [{
        "version": "0.4", "axes": [{"name": a, "type": "space"} for a in "zyx"],
        "datasets": [{"path": "0", "coordinateTransformations": [
            {"type": "scale", "scale": [1, 1, 1]}]}]}]})
    done = korin("load $argv", tmp_path / "other.zarr", check=False)
    assert done.returncode != 0 and why in done.stdout, done.stdout


def store_files(path):
    """Every file of a store by its path inside it, the image's name left out of .zattrs."""
    files = {}
    for item in sorted(path.rglob("*")):
        if item.is_file():
            files[str(item.relative_to(path))] = item.read_bytes()
    attrs = json.loads(files.pop(".zattrs"))
    attrs["multiscales"][0].pop("name")
    files[".zattrs"] = attrs
    return files


BUDGET_CASES = [  # type, x y z, components, tile, byte order, one file per slice
    ("uint16", (70, 45, 37), 1, 8, "little", False),
    ("int16", (33, 65, 19), 3, 8, "big", True),
    ("uint8", (100, 20, 9), 1, 16, "little", False),
]


@pytest.mark.parametrize("ptype,dims,nc,tile,order,per_slice", BUDGET_CASES)
def test_a_small_memory_budget_cuts_columns_and_writes_the_same_store(korin, tmp_path, ptype, dims, nc, tile,
                                                                      order, per_slice):
    x, y, z = dims
    volume = volume_of(np.dtype(ptype), (z, y, x, nc), seed=11)
    data = volume.astype(volume.dtype.newbyteorder(">" if order == "big" else "<"))
    files = []
    for i, part in enumerate([data[i] for i in range(z)] if per_slice else [data]):
        files.append(tmp_path / f"in{i}.raw")
        files[-1].write_bytes(part.tobytes())
    words = ["-dims", x, y, z, "-ptype", ptype, "-ndatavar", nc, "-header", 0, "-endianess", order,
             "-bbox", 0, 1, 0, 1, 0, 1] + files
    whole = korin(CONVERT, tmp_path / "whole", "Raw Data", tile, "zstd", 1, *words)
    cut = korin("memoryBudget 1M\n" + CONVERT, tmp_path / "cut", "Raw Data", tile, "zstd", 1, *words)
    assert "result 1" in whole.stdout and "result 1" in cut.stdout, cut.stdout
    assert "columns" not in whole.stdout and re.search(r"converted in \d+ columns", cut.stdout), cut.stdout
    assert store_files(tmp_path / "cut.lda") == store_files(tmp_path / "whole.lda")
    expect_store(tmp_path / "cut.lda", np.moveaxis(volume, 3, 0) if nc > 1 else volume[..., 0], tile)


def test_raw_files_that_do_not_hold_the_description_are_refused(korin, tmp_path):
    (tmp_path / "two.raw").write_bytes(bytes(2 * 8 * 6 * 4))  # two volumes' worth, one component described
    done = korin(CONVERT, tmp_path / "out", "Raw Data", 8, "zstd", 1, "-dims", 8, 6, 4, "-ptype", "uint8",
                 "-ndatavar", 1, "-header", 0, "-endianess", "little", "-bbox", 0, 1, 0, 1, 0, 1,
                 tmp_path / "two.raw")
    assert "result 0" in done.stdout
    assert "holds 384 bytes, but a header of 0 bytes and 8 x 6 x 4 samples of 1 component(s) of uint8 take 192 bytes" \
        in done.stdout, done.stdout
    assert sorted(p.name for p in tmp_path.iterdir()) == ["script.tcl", "two.raw"]  # no store, no disk data


TIFF_CASES = [  # how tiffcp rewrites the pages, stack (z, y, x[, rgb]) and type, channel option, one file per slice
    (["-c", "lzw", "-t", "-w", "16", "-l", "16"], (6, 40, 37), "uint16", 2, False),
    (["-c", "zip", "-r", "3"], (5, 19, 33), "uint8", 2, False),
    (["-c", "lzw", "-r", "4"], (4, 21, 18, 3), "uint8", 0, True),
    (["-c", "none", "-t", "-w", "16", "-l", "32"], (3, 33, 20, 3), "uint8", 1, True),
]


@pytest.mark.parametrize("rewrite,shape,ptype,channel,stack", TIFF_CASES)
def test_tiff_strips_and_tiles_are_read_in_regions(korin, tmp_path, rewrite, shape, ptype, channel, stack):
    pages = volume_of(np.dtype(ptype), shape, seed=13)
    plain = [tmp_path / f"plain{i}.tif" for i in range(len(pages))] if stack else [tmp_path / "plain.tif"]
    files = [p.with_name(p.name.replace("plain", "page")) for p in plain]
    for i, (source, target) in enumerate(zip(plain, files)):
        multipage_tiff(source, pages[i:i + 1] if stack else pages)
        subprocess.run(["tiffcp", *rewrite, str(source), str(target)], check=True)
    words = (["-bbox", 0, 1, 0, 1, 0, 1, "-channel", channel] if stack else []) + files
    for budget in ("", "memoryBudget 1M\n"):
        done = korin(budget + CONVERT, tmp_path / "img", "TIFF", 16, "zstd", 1, *words)
        assert "result 1" in done.stdout, done.stdout
        if len(shape) == 4:
            rgb = pages.astype(np.float32)
            want = pages.max(axis=3) if channel == 0 else (
                (rgb[..., 0] * np.float32(0.3) + rgb[..., 1] * np.float32(0.59)) + rgb[..., 2] * np.float32(0.11)
            ).astype(np.int32).astype(np.uint8)
        else:
            want = pages
        expect_store(tmp_path / "img.lda", want, 16)
        shutil.rmtree(tmp_path / "img.lda")
