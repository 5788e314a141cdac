// zarrita as the tests' independent reader and writer of Zarr version 3.
//   node zarr3.mjs read STORE PATH OUT        the whole array, C order, little-endian, into OUT;
//                                            prints {"shape": [...], "dtype": "..."}
//   node zarr3.mjs write STORE SPEC           a group and its arrays as SPEC (a JSON file) says:
//     {"attributes": {...}, "arrays": [{"path", "shape", "chunks", "dtype", "codecs",
//      "fillValue", "dimensionNames", "data": "FILE of little-endian elements"}]}
import * as zarr from "zarrita";
import { FileSystemStore } from "@zarrita/storage";
import { readFileSync, writeFileSync } from "node:fs";

const typed = {
  uint8: Uint8Array, int8: Int8Array, int16: Int16Array, uint16: Uint16Array,
  int32: Int32Array, uint32: Uint32Array, float32: Float32Array, float64: Float64Array,
};

function stridesOf(shape) {
  const strides = new Array(shape.length).fill(1);
  for (let i = shape.length - 2; i >= 0; --i) strides[i] = strides[i + 1] * shape[i + 1];
  return strides;
}

async function read(store, path, out) {
  const array = await zarr.open.v3(zarr.root(new FileSystemStore(store)).resolve(path), { kind: "array" });
  const chunk = await zarr.get(array);
  writeFileSync(out, Buffer.from(chunk.data.buffer, chunk.data.byteOffset, chunk.data.byteLength));
  console.log(JSON.stringify({ shape: chunk.shape, dtype: array.dtype }));
}

async function write(store, specFile) {
  const spec = JSON.parse(readFileSync(specFile, "utf8"));
  const root = zarr.root(new FileSystemStore(store));
  await zarr.create(root, { attributes: spec.attributes });
  for (const a of spec.arrays) {
    const array = await zarr.create(root.resolve(a.path), {
      shape: a.shape, chunkShape: a.chunks, dtype: a.dtype, codecs: a.codecs,
      fillValue: a.fillValue ?? 0, dimensionNames: a.dimensionNames,
    });
    const bytes = readFileSync(a.data);
    const data = new typed[a.dtype](bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.byteLength));
    await zarr.set(array, null, { data, shape: a.shape, stride: stridesOf(a.shape) });
  }
}

const [command, ...rest] = process.argv.slice(2);
await (command === "read" ? read(...rest) : write(...rest));
