"""lda stores in the OME-Zarr world: the converter's 0.4 and 0.5 metadata against the
published schemas' rules, placement, its 0.5 stores read by zarrita, and stores of other
tools (zarr-python's defaults, zarrita's Zarr version 3, shards, odd pyramids) read by korin."""
import json
import subprocess
from pathlib import Path

import numcodecs
import numpy as np
import pytest
import zarr

from lda_support import CONVERT, halved, levels_of, reduced, volume_of

JS = Path(__file__).resolve().parents[1] / "js"

READ_AT = """
set subsamplings [lassign $argv store out]
set d [load $store]
puts "shape [$d getDims] [$d getPrimType] [$d getNDataVar] box [$d getBoundingBox]"
foreach s $subsamplings {
  set n {}
  foreach v [$d getDims] { lappend n [expr {($v + $s - 1) / $s}] }
  $d readBox $out.$s 0 0 0 {*}$n $s $s $s
}
"""


def zarrita(*args):
    done = subprocess.run(["node", str(JS / "zarr3.mjs"), *map(str, args)], capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    return done.stdout


def zarrita_array(store, path, tmp_path):
    out = tmp_path / "zarrita.bin"
    meta = json.loads(zarrita("read", store, path, out))
    return np.fromfile(out, np.dtype(meta["dtype"]).newbyteorder("<")).reshape(meta["shape"])


def korin_reads(korin, store, tmp_path, dtype, shape_zyx, subsamplings=(1, 2, 4), components=1):
    """Whole boxes at each subsampling as korin's readBox gives them, axes [c,] z, y, x."""
    korin(READ_AT, store, tmp_path / "box", *subsamplings)
    boxes = {}
    for s in subsamplings:
        shape = tuple(-(-n // s) for n in shape_zyx)
        data = np.fromfile(tmp_path / f"box.{s}", dtype).reshape(shape + (components,))
        boxes[s] = np.moveaxis(data, 3, 0) if components > 1 else data[..., 0]
    return boxes


# The rules of the published OME-NGFF schemas (0.4 strict image, 0.5 image), written out.
SPACE_UNITS = {"angstrom", "attometer", "centimeter", "decimeter", "exameter", "femtometer", "foot", "gigameter",
               "hectometer", "inch", "kilometer", "megameter", "meter", "micrometer", "mile", "millimeter",
               "nanometer", "parsec", "petameter", "picometer", "terameter", "yard", "yoctometer", "yottameter",
               "zeptometer", "zettameter"}


def check_transformations(transformations, rank):
    assert isinstance(transformations, list) and transformations, "a list of at least one transformation"
    kinds = [t["type"] for t in transformations]
    assert kinds.count("scale") == 1 and kinds[0] == "scale", "exactly one scale, first"
    assert kinds.count("translation") <= 1 and set(kinds) <= {"scale", "translation"}
    for t in transformations:
        values = t[t["type"]]
        assert len(values) == rank and all(isinstance(v, (int, float)) for v in values)


def check_multiscale(entry, strict_version):
    if strict_version:
        for key in ("version", "metadata", "type", "name"):
            assert key in entry, f"the strict 0.4 schema requires {key}"
        assert entry["version"] == "0.4"
    axes = entry["axes"]
    assert 2 <= len(axes) <= 5 and len({a["name"] for a in axes}) == len(axes)
    assert 2 <= sum(a.get("type") == "space" for a in axes) <= 3
    for axis in axes:
        assert isinstance(axis["name"], str)
        assert axis.get("type") in ("space", "time", "channel"), axis
        assert axis.get("unit", "micrometer") in SPACE_UNITS or axis["type"] != "space"
    assert isinstance(entry["datasets"], list) and entry["datasets"]
    for dataset in entry["datasets"]:
        assert isinstance(dataset["path"], str)
        check_transformations(dataset["coordinateTransformations"], len(axes))
    if "coordinateTransformations" in entry:
        check_transformations(entry["coordinateTransformations"], len(axes))


def convert(korin, tmp_path, volume, tile, version, codec="zstd", sampling=1, box=(0, 1, 0, 1, 0, 1)):
    nc = volume.shape[0] if volume.ndim == 4 else 1
    z, y, x = volume.shape[-3:]
    data = np.moveaxis(volume, 0, 3) if nc > 1 else volume
    (tmp_path / "in.raw").write_bytes(data.astype(data.dtype.newbyteorder("<")).tobytes())
    words = ["-dims", x, y, z, "-ptype", {"u2": "uint16", "u1": "uint8", "f4": "float"}[volume.dtype.str[1:]],
             "-ndatavar", nc, "-header", 0, "-endianess", "little", "-bbox", *box, tmp_path / "in.raw"]
    done = korin(f"omeZarrVersion {version}\n" + CONVERT, tmp_path / "out", "Raw Data", tile, codec, sampling, *words)
    assert "result 1" in done.stdout, done.stdout
    return tmp_path / "out.lda"


@pytest.mark.parametrize("version,codec,shape,nc,tile", [
    ("0.5", "zstd", (20, 70, 45), 1, 8),   # many chunks: shards of 2 x 2 x 2
    ("0.5", "blosc", (9, 33, 40), 2, 16),
    ("0.5", "lz4", (16, 16, 16), 1, 8),
])
def test_sharded_stores_read_exactly_in_zarrita(korin, tmp_path, version, codec, shape, nc, tile):
    volume = volume_of(np.dtype("u2"), ((nc,) if nc > 1 else ()) + shape, seed=4)
    store = convert(korin, tmp_path, volume, tile, version, codec)
    group = json.loads((store / "zarr.json").read_text())
    for level, want in enumerate(levels_of(volume, tile, False)):
        np.testing.assert_array_equal(zarrita_array(store, str(level), tmp_path), want, err_msg=f"level {level}")
    assert len(group["attributes"]["ome"]["multiscales"][0]["datasets"]) == level + 1


@pytest.mark.parametrize("version", ["0.4", "0.5"])
@pytest.mark.parametrize("sampling", [0, 1])
def test_metadata_meets_the_schemas_and_places_every_level(korin, tmp_path, version, sampling):
    volume = volume_of(np.dtype("u1"), (1, 40, 70), seed=2)  # z of one sample is never halved
    store = convert(korin, tmp_path, volume, 8, version, sampling=sampling, box=(10, 79, -5, 34, 3, 3))
    if version == "0.4":
        attrs = json.loads((store / ".zattrs").read_text())
        entry = attrs["multiscales"][0]
    else:
        group = json.loads((store / "zarr.json").read_text())
        assert (group["zarr_format"], group["node_type"], group["attributes"]["ome"]["version"]) == (3, "group", "0.5")
        entry = group["attributes"]["ome"]["multiscales"][0]
        for dataset in entry["datasets"]:
            array = json.loads((store / dataset["path"] / "zarr.json").read_text())
            assert array["dimension_names"] == [a["name"] for a in entry["axes"]]
    check_multiscale(entry, strict_version=version == "0.4")
    assert entry["type"] == ["nearest", "mean"][sampling]
    for level, dataset in enumerate(entry["datasets"]):
        scale, translation = (t[t["type"]] for t in dataset["coordinateTransformations"])
        factor = 2 ** level
        shift = (factor - 1) / 2 if sampling else 0  # the centre of an averaged cell
        assert scale == pytest.approx([1, factor, factor])
        assert translation == pytest.approx([3, -5 + shift, 10 + shift])


def halved_to(v, factors):
    """v reduced by power-of-two factors per trailing axis (z, y, x), a halving at a time."""
    factors = list(factors)
    while any(f > 1 for f in factors):
        v = halved(v, tuple(a - 3 for a in range(3) if factors[a] > 1))
        factors = [max(f // 2, 1) for f in factors]
    return v


def ome_attrs(levels, axes="zyx"):
    """multiscales for levels given by their factors per axis (z, y, x)."""
    return [{"version": "0.4", "axes": [{"name": a, "type": "space"} for a in axes],
             "datasets": [{"path": str(i), "coordinateTransformations": [
                 {"type": "scale", "scale": [float(f) for f in factors][-len(axes):]}]}
                 for i, factors in enumerate(levels)]}]


def write_v2(path, levels, volume, stored=None, **options):
    """A zarr-python store (its defaults: Blosc) holding `volume` reduced by each level's factors."""
    group = zarr.open_group(str(path), mode="w")
    for i, factors in enumerate(levels):
        data = stored[i] if stored else halved_to(volume, factors) if volume.ndim == 3 else volume
        group.create_dataset(str(i), data=data, chunks=(3, 4, 5)[-data.ndim:], **options)
    group.attrs["multiscales"] = ome_attrs(levels, "zyx"[-volume.ndim:])
    return group


def expected_at(volume, levels, s, host=None):
    """What a box at subsampling s holds: the coarsest level whose factors divide s (as
    stored), halved on in the host's type."""
    usable = [f for f in levels if all(s % n == 0 for n in f)]
    factors = max(usable, key=np.prod)
    stored = halved_to(volume, factors).astype(host or volume.dtype)
    return halved_to(stored, [s // n for n in factors])


ODD_STORES = {  # levels by their factors (z, y, x), data type, volume shape
    "zarr-python defaults": ([(1, 1, 1), (2, 2, 2)], "u2", (9, 14, 11)),
    "z never halved": ([(1, 1, 1), (1, 2, 2), (1, 4, 4)], "i2", (5, 17, 18)),
    "a single level, odd edges": ([(1, 1, 1)], "f4", (7, 9, 5)),
    "uint32": ([(1, 1, 1), (2, 2, 2)], "u4", (6, 6, 6)),
}


@pytest.mark.parametrize("case", ODD_STORES)
def test_stores_of_other_tools_read_exactly(korin, tmp_path, case):
    levels, dtype, shape = ODD_STORES[case]
    volume = volume_of(np.dtype(dtype), shape, seed=6)
    write_v2(tmp_path / "other.zarr", levels, volume)
    host = np.float64 if dtype == "u4" else np.dtype(dtype)
    boxes = korin_reads(korin, tmp_path / "other.zarr", tmp_path, host, shape)
    for s, box in boxes.items():
        np.testing.assert_array_equal(box, expected_at(volume, levels, s, host), err_msg=f"subsampling {s}")


def test_edges_never_average_what_lies_outside(korin, tmp_path):
    one = np.full((1, 1, 1), 77, "u1")
    write_v2(tmp_path / "one.zarr", [(1, 1, 1)], one, fill_value=0)
    assert korin_reads(korin, tmp_path / "one.zarr", tmp_path, "u1", (1, 1, 1), (2,))[2].tolist() == [[[77]]]
    volume = volume_of(np.dtype("f4"), (5, 7, 3), seed=8)
    write_v2(tmp_path / "nan.zarr", [(1, 1, 1)], volume, fill_value=float("nan"))
    box = korin_reads(korin, tmp_path / "nan.zarr", tmp_path, "f4", (5, 7, 3), (2,))[2]
    np.testing.assert_array_equal(box, reduced(volume, False))
    # Level 1 of floor sizes (2 x 3 x 1 of 5 x 7 x 3) lacks the odd edges: they come from level 0.
    floor = reduced(volume, False)[:2, :3, :1]
    write_v2(tmp_path / "floor.zarr", [(1, 1, 1), (2, 2, 2)], volume, stored=[volume, floor])
    box = korin_reads(korin, tmp_path / "floor.zarr", tmp_path, "f4", (5, 7, 3), (2,))[2]
    np.testing.assert_array_equal(box, reduced(volume, False))


def test_images_in_two_dimensions_and_under_series_zero(korin, tmp_path):
    image = volume_of(np.dtype("u2"), (30, 41), seed=3)
    group = zarr.open_group(str(tmp_path / "flat.zarr"), mode="w")
    series = group.create_group("0")
    series.create_dataset("0", data=image, chunks=(8, 8), compressor=numcodecs.GZip(level=5))
    series.attrs["multiscales"] = ome_attrs([(1, 1, 1)], "yx")
    group.attrs["bioformats2raw.layout"] = 3
    boxes = korin_reads(korin, tmp_path / "flat.zarr", tmp_path, "u2", (1, 30, 41), (1, 2))
    np.testing.assert_array_equal(boxes[1][0], image)
    np.testing.assert_array_equal(boxes[2], halved(image[None], (-2, -1)))


def crc32c(data):
    crc = 0xFFFFFFFF
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = (crc >> 1) ^ (0x82F63B78 & -(crc & 1))
    return crc ^ 0xFFFFFFFF


EMPTY = 2 ** 64 - 1


def write_sharded(path, volume, shard, inner, index_at_start, gzip):
    """A Zarr version 3 array of shards written here to the letter of the sharding codec, its
    inner chunks compressed (zstd, or gzip followed by a crc32c)."""
    (path / "0").mkdir(parents=True)
    codec = numcodecs.GZip(level=1) if gzip else numcodecs.Zstd(level=1)
    grid = [-(-n // s) for n, s in zip(volume.shape, shard)]
    for key in np.ndindex(*grid):
        chunks = [s // c for s, c in zip(shard, inner)]
        index, body = [], b""
        for place in np.ndindex(*chunks):
            start = [k * s + p * c for k, s, p, c in zip(key, shard, place, inner)]
            block = np.zeros(inner, volume.dtype)
            part = volume[tuple(slice(a, a + c) for a, c in zip(start, inner))]
            block[tuple(slice(0, n) for n in part.shape)] = part
            if part.size == 0 or not block.any():
                index += [EMPTY, EMPTY]
                continue
            encoded = codec.encode(block.astype("<u2").tobytes())
            if gzip:
                encoded += crc32c(encoded).to_bytes(4, "little")
            index += [len(body), len(encoded)]
            body += encoded
        table = np.array(index, "<u8").tobytes()
        table += crc32c(table).to_bytes(4, "little")
        if index_at_start:
            index = [v + len(table) if i % 2 == 0 and v != EMPTY else v for i, v in enumerate(index)]
            table = np.array(index, "<u8").tobytes()
            table += crc32c(table).to_bytes(4, "little")
        (path / "0" / "c").joinpath(*map(str, key)).parent.mkdir(parents=True, exist_ok=True)
        (path / "0" / "c").joinpath(*map(str, key)).write_bytes(table + body if index_at_start else body + table)
    (path / "0" / "zarr.json").write_text(json.dumps({
        "zarr_format": 3, "node_type": "array", "shape": list(volume.shape), "data_type": "uint16",
        "chunk_grid": {"name": "regular", "configuration": {"chunk_shape": list(shard)}},
        "chunk_key_encoding": {"name": "default"}, "fill_value": 0,
        "codecs": [{"name": "sharding_indexed", "configuration": {
            "chunk_shape": list(inner), "codecs": [{"name": "bytes", "configuration": {"endian": "little"}}] + (
                [{"name": "gzip", "configuration": {"level": 1}}, {"name": "crc32c"}] if gzip else
                [{"name": "zstd", "configuration": {"level": 1}}]),
            "index_codecs": [{"name": "bytes", "configuration": {"endian": "little"}}, {"name": "crc32c"}],
            "index_location": "start" if index_at_start else "end"}}]}))
    (path / "zarr.json").write_text(json.dumps({"zarr_format": 3, "node_type": "group", "attributes": {
        "ome": {"version": "0.5", "multiscales": ome_attrs([(1, 1, 1)])}}}))


@pytest.mark.parametrize("index_at_start,gzip", [(False, False), (True, True)])
def test_shards_made_to_the_letter_read_in_zarrita_and_korin(korin, tmp_path, index_at_start, gzip):
    volume = volume_of(np.dtype("u2"), (10, 13, 9), seed=12)
    volume[:4, :4, :4] = 0  # a chunk not stored
    write_sharded(tmp_path / "s.zarr", volume, (8, 8, 8), (4, 4, 2), index_at_start, gzip)
    if not index_at_start:  # zarrita reads every index from the end
        np.testing.assert_array_equal(zarrita_array(tmp_path / "s.zarr", "0", tmp_path), volume)
    boxes = korin_reads(korin, tmp_path / "s.zarr", tmp_path, "u2", volume.shape)
    for s, box in boxes.items():
        np.testing.assert_array_equal(box, expected_at(volume, [(1, 1, 1)], s), err_msg=f"subsampling {s}")


@pytest.mark.parametrize("codecs", [  # what zarrita writes (it encodes neither gzip nor crc32c)
    [{"name": "bytes", "configuration": {"endian": "big"}}, {"name": "zstd", "configuration": {"level": 3}}],
    [{"name": "bytes", "configuration": {"endian": "little"}}, {"name": "numcodecs.lz4", "configuration": {}}],
    [{"name": "bytes", "configuration": {"endian": "little"}},
     {"name": "blosc", "configuration": {"cname": "zstd", "clevel": 4, "shuffle": "bitshuffle", "typesize": 2,
                                         "blocksize": 0}}],
])
def test_zarr_version_3_images_from_zarrita_read_exactly(korin, tmp_path, codecs):
    volume = volume_of(np.dtype("u2"), (11, 9, 14), seed=7)
    levels = [volume, reduced(volume, False)]
    arrays = []
    for i, data in enumerate(levels):
        (tmp_path / f"{i}.bin").write_bytes(data.astype("<u2").tobytes())
        arrays.append({"path": str(i), "shape": list(data.shape), "chunks": [4, 5, 3], "dtype": "uint16",
                       "codecs": codecs, "dimensionNames": ["z", "y", "x"], "data": str(tmp_path / f"{i}.bin")})
    spec = {"attributes": {"ome": {"version": "0.5", "multiscales": ome_attrs([(1, 1, 1), (2, 2, 2)])}},
            "arrays": arrays}
    (tmp_path / "spec.json").write_text(json.dumps(spec))
    zarrita("write", tmp_path / "v3.zarr", tmp_path / "spec.json")
    boxes = korin_reads(korin, tmp_path / "v3.zarr", tmp_path, "u2", volume.shape)
    for s, box in boxes.items():
        np.testing.assert_array_equal(box, expected_at(volume, [(1, 1, 1), (2, 2, 2)], s), err_msg=f"subsampling {s}")


@pytest.mark.parametrize("version", ["0.4", "0.5"])
def test_python_opens_stores_as_it_opens_sets(korin, tmp_path, version):
    import uxdiskdata
    volume = volume_of(np.dtype("u2"), (2, 20, 37, 30), seed=9)
    store = convert(korin, tmp_path, volume, 8, version, box=(0, 29, 0, 36, 0, 19))
    s = uxdiskdata.open(store)
    want = [np.moveaxis(level, 0, 3) for level in levels_of(volume, 8, False)]
    assert (s.shape, s.dtype, s.levels) == (want[0].shape, np.dtype("u2"), len(want))
    assert s.bounding_box == pytest.approx((0, 29, 0, 36, 0, 19))
    for level, expected in enumerate(want):
        np.testing.assert_array_equal(np.asarray(s.level(level)), expected)
    np.testing.assert_array_equal(s.level(1)[3:9:2, -4, ::-3, 1], want[1][3:9:2, -4, ::-3, 1])
    with pytest.raises(IndexError):
        s.level(len(want))


def test_python_reads_shards_and_other_tools_stores(tmp_path):
    import uxdiskdata
    volume = volume_of(np.dtype("u2"), (10, 13, 9), seed=12)
    write_sharded(tmp_path / "s.zarr", volume, (8, 8, 8), (4, 4, 2), True, True)
    np.testing.assert_array_equal(np.asarray(uxdiskdata.open(tmp_path / "s.zarr")), volume)
    write_v2(tmp_path / "other.zarr", [(1, 1, 1), (1, 2, 2)], volume)
    other = uxdiskdata.open(tmp_path / "other.zarr")
    assert other.levels == 2 and other.factors == [(1, 1, 1), (1, 2, 2)]
    np.testing.assert_array_equal(other.level(1)[:], halved_to(volume, (1, 2, 2)))
    (tmp_path / "other.zarr" / "0" / ".zarray").write_text('{"zarr_format": 2, "shape": [1]}')
    with pytest.raises(uxdiskdata.DiskDataError, match="0/.zarray"):
        uxdiskdata.open(tmp_path / "other.zarr")
