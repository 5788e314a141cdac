#pragma once
// Fuzz targets of the package's readers: bytes in, no crash, no undefined
// behaviour, no leak, whatever the bytes. Built as libFuzzer programs with
// clang (tests/fuzz/run_fuzz.sh) and replayed over the committed corpus as an
// ordinary test with any compiler.
#include <cstddef>
#include <cstdint>

// The bytes as a description file, read as the host's `load` reads one.
int fuzzDescription(const uint8_t* data, size_t size);

// The bytes as a whole set: [u16 n][n bytes of description][u16 n][n bytes of
// valid-flag file][u16 n][n bytes of intent record][the rest: block data file
// 0], little-endian lengths, missing parts empty. An opened set is checked,
// read at every level, written and updated.
int fuzzSetOpening(const uint8_t* data, size_t size);

// The bytes as an OME-Zarr store: [one byte: Zarr version 3 when odd][u16 n]
// [n bytes of the group's metadata (.zattrs, or zarr.json)][u16 n][n bytes of
// level 0's metadata (.zarray, or zarr.json)][the rest: a chunk, or a shard,
// stored under every key a chunk of level 0 at the origin may have]. An
// opened store is read at every level.
int fuzzLdaStore(const uint8_t* data, size_t size);
