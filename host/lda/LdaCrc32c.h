#pragma once
// LdaCrc32c: the CRC-32C (Castagnoli) checksum that Zarr's crc32c codec
// appends to a shard index, as 4 little-endian bytes.
#include <cstddef>
#include <cstdint>

uint32_t crc32c(const unsigned char* data, size_t bytes);
