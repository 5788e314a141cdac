"""Sets made by korin read in Python exactly as korin's readBox gives them, at every level."""
import hashlib
import os
import re
import shutil
import struct
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
import zarr

import uxdiskdata
from conftest import multipage_tiff

CONVERT = """
lassign $argv out raw nx ny nz type nc
set c [create UxConvertToDiskData]
$c forceKorin311Format 1
if {[$c convertToDiskData -format "Raw Data" -lda $out -dims $nx $ny $nz -ptype $type -ndatavar $nc \\
     -header 0 -endianess little -bbox 0 300 0 36.9 -4 4 $raw] != 1} { exit 1 }
"""
WRITE = "lassign $argv km raw ox oy oz nx ny nz; [load $km] writeBox $raw $ox $oy $oz $nx $ny $nz"
READ = """
lassign $argv km out levels
set d [load $km]
lassign [$d getDims] nx ny nz
for {set L 0} {$L < $levels} {incr L} {
  set s [expr {1 << $L}]
  $d readBox $out$L 0 0 0 [expr {($nx+$s-1)/$s}] [expr {($ny+$s-1)/$s}] [expr {($nz+$s-1)/$s}] $s $s $s
}
"""
TYPES = {"uint8": "u1", "int16": "<i2", "uint16": "<u2", "int32": "<i4", "float": "<f4", "double": "<f8"}


def samples(shape, dtype, seed):
    rng = np.random.default_rng(seed)
    if np.dtype(dtype).kind == "f":  # magnitudes far apart, so the order of summation shows
        return (rng.standard_normal(shape) * 10.0 ** rng.integers(-6, 6, shape)).astype(dtype)
    info = np.iinfo(dtype)
    return rng.integers(info.min, info.max, shape, endpoint=True).astype(dtype)


def convert(korin, folder, type_name, shape, seed=1):
    """A set of random samples, shape (z, y, x, components); its description file."""
    folder.mkdir(exist_ok=True)
    samples(shape, TYPES[type_name], seed).tofile(folder / "in.raw")
    korin(CONVERT, folder / "set", folder / "in.raw", shape[2], shape[1], shape[0], type_name, shape[3])
    return folder / "set.km"


def overwrite(korin, km, origin, shape, type_name, seed=2):
    """Writes random samples into the box (z, y, x, components) at origin (z, y, x); no level update."""
    samples(shape, TYPES[type_name], seed).tofile(km.parent / "box.raw")
    korin(WRITE, km, km.parent / "box.raw", *origin[::-1], *shape[2::-1])


def korin_levels(korin, km, dataset):
    korin(READ, km, km.parent / "level", dataset.levels)
    return [np.fromfile(km.parent / f"level{L}", dataset.level(L).dtype).reshape(dataset.level(L).shape)
            for L in range(dataset.levels)]


def digest(folder):
    return {p.name: hashlib.sha1(p.read_bytes()).hexdigest() for p in sorted(folder.iterdir())}


@pytest.mark.parametrize("type_name, shape", [
    ("uint8", (9, 37, 70, 1)), ("int16", (12, 31, 64, 1)), ("uint16", (5, 17, 33, 1)),
    ("int32", (8, 16, 32, 1)), ("float", (7, 16, 35, 1)), ("double", (9, 18, 19, 1)), ("uint8", (6, 20, 41, 2))])
def test_every_level_reads_as_readbox_also_after_a_write_without_level_update(korin, tmp_path, type_name, shape):
    km = convert(korin, tmp_path / "a", type_name, shape)
    overwrite(korin, km, (1, 3, 5), (3, 9, 12, shape[3]), type_name)
    before = digest(km.parent)
    with uxdiskdata.open(km) as dataset:
        assert dataset.shape == (shape[:3] if shape[3] == 1 else shape) and dataset.levels == 2
        assert dataset.current_blocks(1)[0] < dataset.current_blocks(1)[1]
        levels = [np.asarray(dataset.level(L)) for L in range(dataset.levels)]
    assert digest(km.parent) == before, "reading changes no file"
    for mine, korins in zip(levels, korin_levels(korin, km, dataset)):
        np.testing.assert_array_equal(mine, korins)


@pytest.mark.parametrize("key", [
    np.s_[...], np.s_[-1], np.s_[2:5, ::-3, 7], np.s_[::2, 1::5, -1:-30:-7], np.s_[..., 16:33],
    np.s_[None, 4, :, -2], np.s_[3:3], np.s_[-4:, 15:17, 31:33]])
def test_slices_at_borders_and_odd_sizes_match_numpy(korin, tmp_path, monkeypatch, key):
    dataset = uxdiskdata.open(convert(korin, tmp_path, "uint8", (9, 33, 67, 2)))
    for view in (dataset, dataset.level(1)):
        whole = np.asarray(view)
        np.testing.assert_array_equal(view[key], whole[key])
        monkeypatch.setattr(uxdiskdata.view, "ROW_BYTES", 1)  # one block at a time along x
        np.testing.assert_array_equal(view[key], whole[key])
        monkeypatch.undo()


def test_coarse_blocks_out_of_date_are_computed_level_by_level_from_a_relative_path(korin, tmp_path, monkeypatch):
    """A hand-made set of 8 x 8 x 8 blocks (three levels), its blocks named from the current folder."""
    (tmp_path / "blocks").mkdir()
    (tmp_path / "set.km").write_text('korinmesh 1 text\nstring ContentType UxDiskData\nstring DataFilePath "blocks/b####.raw"\n'
                                     "ints Dims 35 19 21\nints Blocking 8 8 8\nints nDataVar 1\n"
                                     "ints primType 1\nreals BoundingBox 0 1 0 1 0 1\n")
    (tmp_path / "blocks/b0000.raw").write_bytes(bytes(2 * 512 * (5 * 3 * 3 + 3 * 2 * 2 + 2 + 1)))
    (tmp_path / "blocks/bSUPR.raw").write_bytes(b"BLCK0001" + bytes(60 // 8 + 1))
    monkeypatch.chdir(tmp_path)
    overwrite(korin, Path("set.km"), (0, 0, 0), (21, 19, 35, 1), "int16")
    dataset = uxdiskdata.open("set.km")
    assert dataset.levels == 3 and dataset.current_blocks(2) == (0, 2)
    for mine, korins in zip([np.asarray(dataset.level(L)) for L in range(3)], korin_levels(korin, Path("set.km"), dataset)):
        np.testing.assert_array_equal(mine, korins)


def test_a_set_of_two_block_files(korin, tmp_path):
    """2048 x 2048 x 300 bytes need a second block file (sparse here) from slice 256 on."""
    small = convert(korin, tmp_path, "uint8", (1, 1, 1, 1))
    samples((12, 40, 70), "u1", 3).tofile(tmp_path / "box.raw")
    korin(f"set big [[load {small}] createDiskData {tmp_path}/big.km {tmp_path}/big.km 2048 2048 300 1 uint8]\n"
          f"$big writeBox {tmp_path}/box.raw 0 0 288 70 40 12\n"
          f"$big readBox {tmp_path}/level0 0 0 288 70 40 12\n$big readBox {tmp_path}/level1 0 0 288 35 20 6 2 2 2")
    assert (tmp_path / "big.km-0001.dat").exists()
    dataset = uxdiskdata.open(tmp_path / "big.km")
    np.testing.assert_array_equal(dataset[288:, :40, :70], np.fromfile(tmp_path / "level0", "u1").reshape(12, 40, 70))
    np.testing.assert_array_equal(dataset.level(1)[144:, :20, :35],
                                  np.fromfile(tmp_path / "level1", "u1").reshape(6, 20, 35))


@pytest.mark.parametrize("record, served_fresh", [
    (b"", False), (b"BLCKINT1" + struct.pack("<6i", 0, 0, 0, 1, 0, 2), True),
    (b"BLCKINT1" + struct.pack("<6i", 0, 0, 0, 1, 0, 2) + b"\1\2\3", True), (b"damaged", True),
    pytest.param(b"BLCKINT1" + bytes(24 * 100000), True, id="more-entries-than-blocks")])
def test_an_intent_record_marks_coarse_blocks_out_of_date(korin, tmp_path, record, served_fresh):
    km = convert(korin, tmp_path / "a", "uint16", (9, 20, 30, 1))
    flags = (km.parent / "set.km-SUPR.dat").read_bytes()
    overwrite(korin, km, (0, 0, 0), (9, 20, 30, 1), "uint16")
    shutil.copytree(km.parent, tmp_path / "b")
    wanted = korin_levels(korin, tmp_path / "b/set.km", uxdiskdata.open(tmp_path / "b/set.km"))[1]
    (km.parent / "set.km-SUPR.dat").write_bytes(flags)  # all current, as if the write was cut short
    if record:
        (km.parent / "set.km-INTN.dat").write_bytes(record)
    assert np.array_equal(uxdiskdata.open(km).level(1)[...], wanted) == served_fresh


def damage(name, keep=None, start=b""):
    """Puts `start` over the beginning of the file and keeps its bytes up to `keep`; None removes it."""
    def apply(folder):
        old = (folder / name).read_bytes()
        (folder / name).write_bytes(start + old[len(start):keep])
    return apply


def remove(name):
    return lambda folder: (folder / name).unlink()


def pipe(name):
    def apply(folder):
        (folder / name).unlink(missing_ok=True)
        os.mkfifo(folder / name)
    return apply


def nest(depth):
    def apply(folder):
        first, rest = (folder / "set.km").read_bytes().split(b"\n", 1)
        (folder / "set.km").write_bytes(first + b"\n" + b"bundle b\n" * depth + b"end\n" * depth + rest)
    return apply


def describe(old, new):
    return lambda folder: (folder / "set.km").write_text((folder / "set.km").read_text().replace(old, new))


@pytest.mark.parametrize("harm, named", [
    (remove("set.km"), "set.km"), (damage("set.km", None, b"hello"), "set.km"),
    (describe("ints Blocking", "ints Blocks"), "set.km"), (describe("Dims 30", "Dims -30"), "set.km"),
    (describe("primType 7", "primType 5"), "set.km"), (describe("nDataVar 1", "nDataVar 0"), "set.km"),
    (describe("Blocking 32 16 4", "Blocking 1024 1024 1024"), "set.km"),
    (remove("set.km-0000.dat"), "set.km-0000.dat"), (damage("set.km-0000.dat", 1000), "set.km-0000.dat"),
    (damage("set.km-SUPR.dat", 9), "set.km-SUPR.dat"), (damage("set.km-SUPR.dat", None, b"BLCK0002"), "set.km-SUPR.dat"),
    (pipe("set.km"), "set.km"), (pipe("set.km-SUPR.dat"), "set.km-SUPR.dat"), (pipe("set.km-0000.dat"), "set.km-0000.dat"),
    (pipe("set.km-INTN.dat"), "set.km-INTN.dat"), (nest(100000), "set.km"),
    (describe("Blocking 32 16 4", "Blocking 1073741824 1073741824 16"), "set.km"),
    (describe("BoundingBox ", "BoundingBox 0x1p99999 "), "set.km")])
def test_damaged_files_are_refused_naming_the_file(korin, tmp_path, harm, named):
    km = convert(korin, tmp_path, "uint16", (9, 20, 30, 1))
    harm(tmp_path)
    with pytest.raises(uxdiskdata.DiskDataError, match=re.escape(f"{tmp_path / named}:")):
        uxdiskdata.open(km)


READ_BACK = """
lassign $argv store out
set d [load $store]
foreach s {1 2} {
  set n {}
  foreach v [$d getDims] { lappend n [expr {($v + $s - 1) / $s}] }
  $d readBox $out.$s 0 0 0 {*}$n $s $s $s
}
"""


def test_info_and_export_as_ome_zarr(korin, tmp_path):
    km = convert(korin, tmp_path, "int16", (9, 20, 30, 2))
    run = [sys.executable, "-m", "uxdiskdata"]
    info = subprocess.run(run + ["info", km], capture_output=True, text=True, check=True).stdout
    assert "levels: 2\n" in info and "level 1: (5, 10, 15, 2), 2 of 2 blocks current" in info
    subprocess.run(run + ["export", km, tmp_path / "out.zarr"], check=True)
    dataset, group = uxdiskdata.open(km), zarr.open_group(str(tmp_path / "out.zarr"), mode="r")
    for L in range(2):
        np.testing.assert_array_equal(group[str(L)][:], np.moveaxis(np.asarray(dataset.level(L)), -1, 0))
    scale, translation = group.attrs["multiscales"][0]["datasets"][1]["coordinateTransformations"]
    assert scale["scale"] == pytest.approx([1, 2 * 1.0, 2 * 36.9 / 19, 2 * 300 / 29])
    assert translation["translation"] == pytest.approx([0, -4 + 0.5, 0 + 0.5 * 36.9 / 19, 0 + 0.5 * 300 / 29])
    korin(READ_BACK, tmp_path / "out.zarr", tmp_path / "box")  # korin reads the export (Blosc)
    for L in range(2):
        box = np.fromfile(tmp_path / f"box.{2 ** L}", "<i2").reshape(dataset.level(L).shape)
        np.testing.assert_array_equal(box, np.asarray(dataset.level(L)))


def test_images_say_what_happens_to_their_samples(korin, tmp_path):
    multipage_tiff(tmp_path / "deep.tif", samples((2, 6, 5), "<u2", 1))
    done = korin('set c [create UxConvertToDiskData]\n$c forceKorin311Format 1\n'
                 f'$c convertToDiskData -format TIFF -lda {tmp_path}/out -bbox 0 1 0 1 0 1 -channel 2 {tmp_path}/deep.tif')
    assert ("Notice: the images hold 16-bit samples; disk data stores them as 8 bits (the lda output keeps 16 bits)\n"
            in done.stdout)
    assert f"Notice: {tmp_path}/deep.tif holds 2 pages; the disk-data conversion reads only its first page" in done.stdout


def test_pip_installs_the_package_without_an_index(tmp_path):
    subprocess.run([sys.executable, "-m", "venv", "--system-site-packages", tmp_path / "env"], check=True)
    source = Path(__file__).resolve().parents[2] / "python"
    subprocess.run([tmp_path / "env/bin/pip", "install", "-q", "--no-index", source], check=True,
                   env={"PATH": "/usr/bin:/bin", "HOME": str(tmp_path)})
    done = subprocess.run([tmp_path / "env/bin/uxdiskdata", "--help"], capture_output=True, text=True)
    assert done.returncode == 0 and "info" in done.stdout
