#pragma once
// LdaMetadata: the Zarr and OME-Zarr metadata of an lda store.
//
// The store's folder is a Zarr version 2 group (".zgroup"); its ".zattrs"
// hold the OME-Zarr 0.4 "multiscales" entry (axes [c,] z, y, x; one dataset
// per level, path "0", "1", ..., each with a scale of the sample spacing
// times 2^level and a translation to the box's minimum) and, under the key
// "uxdiskdata", the tile size, border size, sampling type ("Sharp" or
// "Average") and the description of the input. Each level's folder holds its
// ".zarray". The sample spacing along an axis of n samples is the box's
// extent divided by n - 1 (the box spans the first to the last sample), 1 for
// a single sample; floats are written in their shortest decimal form.
//
// writeLdaMetadata makes the level folders and writes every metadata file
// durably (synced) into the store folder; it answers false, with `why`
// naming the file and the reason, when one cannot be written.
#include <nlohmann/json.hpp>

#include <string>

#include "host/lda/LdaLayout.h"

class LdaStoreFolder;
class SoDataCompressor;

struct LdaStoreSettings {
  std::string name;  // the image's name in the multiscales entry
  float box[6];      // xmin, xmax, ymin, ymax, zmin, zmax of level 0
  int borderSize;
  int sampling;  // LdaSampling
  const SoDataCompressor* codec;  // null: chunks stored as they are
  nlohmann::json source;
};

bool writeLdaMetadata(LdaStoreFolder& folder, const LdaLayout& layout, const LdaStoreSettings& settings,
                      std::string& why);

// A float as JSON in its shortest decimal form: 0.1f gives 0.1, and a whole
// number gives an integer (300, not 300.0).
nlohmann::json shortestNumber(float value);
