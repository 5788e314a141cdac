#pragma once
// convertToLdaStore: the host's tiled converter, which UxBrixConverter runs
// unless a test installs another. It writes the volume of raw files or image
// files as an lda store: a compressed multi-resolution OME-Zarr image (see
// LdaMetadata.h and LdaLayout.h), readable by zarr-python, napari and other
// OME-Zarr tools, and by this host (UxLdaData).
//
// Raw input (isRaw) is described by the arguments: dims, element type, byte
// order, header bytes, double narrowed to float, and the component count
// given beforehand with setLdaRawComponents (1 unless given; it applies to
// the next conversion only). The files must hold exactly what is described
// (LdaRawSource). Image input is described by the files
// themselves (LdaImageSource), with `convertMethod` as the channel option;
// `box` applies to a stack of several files, a single file gets the box of
// its samples (0 to width-1, and so on). tileSize (8 to 512) is the chunk
// edge, samplingType 0 Sharp or 1 Average builds the coarser levels,
// borderSize is recorded; compressor names a registered codec (zlib, zstd,
// lz4), null or "none" (any case) stores chunks uncompressed.
//
// Results: 1 the store is complete at `output`; 2 (UxBrixConverter::
// kInputRefused) when raw files do not hold what is described, after a
// message giving the size expected and found; 0 failure, after a message on
// the console (bad settings, an unknown compressor with the list of names,
// unreadable input, a folder that cannot be written, a full disk), with
// nothing left behind; -1 when the overwrite question of an existing output
// was answered "No" (nothing touched) or Ctrl-C stopped the work at a slab
// boundary (the partial store removed, an existing output untouched). The
// process stays within the host's memory budget (TbMemoryBudget) whatever
// the volume's shape: the volume is cut into columns that fit, and levels
// that cannot be built inside a column are built by a later pass from the
// level below as stored (LdaColumnPlan). Chunks are compressed, written and
// synced on all cores; the store replaces the output only when every file and
// folder of it is durable (LdaStoreFolder). Progress shows in the host's work
// area; Ctrl-C stops the work between two chunks.
#include "host/base/TbBox3f.h"
#include "host/base/TbDArray.h"
#include "host/base/TbFilename.h"
#include "host/base/TbPrimType.h"
#include "host/base/TbVec3i.h"

void setLdaRawComponents(int nDataVar);

int convertToLdaStore(const TbDArray<const char*>& files, const TbFilename& output,
                      const TbBox3f& box, const TbVec3i& dims, const TbPrimType& primType,
                      bool littleEndian, int convertMethod, int headerBytes, bool doubleToFloat,
                      bool isRaw, int tileSize, int borderSize, int samplingType,
                      const char* compressor);
